"""The options of decodes and encodes: their names, ranges and defaults."""

import operator
from typing import Any, Mapping, Optional, Sequence, Tuple, TypeVar

from . import _core

Region = Tuple[int, int, int, int]
Value = TypeVar("Value")

REDUCTIONS = {1: 0, 2: 1, 4: 2, 8: 3}
FORMS = {"coded": 0, "rgba": 1, "bgra": 2, "rgba-half": 3, "planar": 4}
CODINGS = {"ycbcr": 0, "rgb": 1, "rgb-video": 2}
TARGETS = {"best": 0, "baseline": 1, "avx2": 2}
FAILED = {"untouched": 0, "black": 1, "marked": 2}
INTERLACE = {"progressive": 0, "even-first": 1, "odd-first": 2, "single-field": 3}
DEPTHS = (8, 10, 15, 16)


def chosen(name: str, value: Any, choices: Mapping[Any, Value]) -> Value:
    """The library's number of a choice."""
    try:
        return choices[value]
    except (KeyError, TypeError):
        allowed = ", ".join(repr(choice) for choice in choices)
        kind = type(next(iter(choices)))
        error = ValueError if isinstance(value, kind) else TypeError
        raise error(f"{name} is {value!r}; it can be {allowed}") from None


def integer(name: str, value: Any, least: int, most: int) -> int:
    """A whole number inside a range."""
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{name} is {value!r}; it must be a whole number") from None
    if not least <= number <= most:
        raise ValueError(f"{name} is {number}; it can be {least} to {most}")
    return number


def checked_region(region: Optional[Sequence[int]]) -> Optional[Region]:
    """A region that has pixels."""
    if region is None:
        return None
    try:
        x, y, width, height = region
    except (TypeError, ValueError):
        raise TypeError(f"region is {region!r}; it must be (x, y, width, height)") from None
    return (
        integer("region: x", x, 0, 65535),
        integer("region: y", y, 0, 65535),
        integer("region: width", width, 1, 65535),
        integer("region: height", height, 1, 65535),
    )


def depth_for(depth: Any, form: str) -> int:
    """The library's depth: halves have none, and are asked for with the default of 8 or with 16."""
    number = chosen("depth", depth, {value: value for value in DEPTHS})
    if form != "rgba-half":
        return number
    if number not in (8, 16):
        raise ValueError(f"depth is {number}; 'rgba-half' has 16 bits")
    return 0


def decode_options(
    *,
    size: int = 1,
    depth: int = 8,
    form: str = "coded",
    coding: str = "ycbcr",
    region: Optional[Sequence[int]] = None,
    threads: int = 0,
    target: str = "best",
    failed: str = "untouched",
    mark_color: int = 0xFF00FF,
    max_pixels: Optional[int] = None,
    max_read_factor: Optional[int] = None,
) -> _core.Options:
    """The options of a decode, each checked by itself."""
    form_number = chosen("form", form, FORMS)
    return _core.Options(
        reduction=chosen("size", size, REDUCTIONS),
        depth=depth_for(depth, form),
        form=form_number,
        coding=chosen("coding", coding, CODINGS),
        region=checked_region(region),
        threads=integer("threads", threads, 0, 2**32 - 1),
        target=chosen("target", target, TARGETS),
        failed=chosen("failed", failed, FAILED),
        mark_color=integer("mark_color", mark_color, 1, 0xFFFFFF),
        max_pixels=0 if max_pixels is None else integer("max_pixels", max_pixels, 1, 2**64 - 1),
        max_read_factor=0
        if max_read_factor is None
        else integer("max_read_factor", max_read_factor, 1, 2**32 - 1),
    )
