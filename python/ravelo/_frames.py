"""Single frames: information, decodes, encodes."""

from typing import Any, List, Literal, Optional, Sequence, Sized, Tuple, TypeVar, Union, cast, overload

import numpy

from . import _core
from ._options import FORMS, INTERLACE, chosen, decode_options, integer
from ._records import Check, Damage, Info, Report

Array = numpy.ndarray[Any, numpy.dtype[Any]]
Picture = Union[Array, Tuple[Array, ...]]
# Forms of which the result is one array.
Packed = Literal["coded", "rgba", "bgra", "rgba-half"]
# Whatever is decoded to: arrays, other objects with memory, and tuples of them.
Out = TypeVar("Out", bound=Sized)

_VERDICTS = {1: "foreign", 2: "cut-off", 3: "broken", 4: "followed", 5: "whole"}
_INTERLACE_NAMES = {number: name for name, number in INTERLACE.items()}
_COMPONENTS = ("Y", "Cb", "Cr")
_DEFAULTS = decode_options()


def info(data: Any) -> Info:
    """Reads the header of a frame.

    `data` is any object with the buffer protocol and contiguous memory; the header is enough. Takes microseconds and
    applies no limit.

    Raises `ravelo.Error` with status FRAME for data shorter than a header, `TypeError` for an object without memory.
    """
    width, height, samples, interlace, pictures, alpha, primaries, transfer, matrix, size, luma, chroma = _core.info(data)
    return Info(
        width=width,
        height=height,
        chroma="444" if samples == 4 else "422",
        interlace=_INTERLACE_NAMES[interlace],
        pictures=pictures,
        alpha_bits={1: 8, 2: 16}.get(alpha, 0),
        color_primaries=primaries,
        transfer_characteristic=transfer,
        matrix_coefficients=matrix,
        header_bytes=size,
        has_luma_matrix=luma,
        has_chroma_matrix=chroma,
    )


def check(data: Any) -> Check:
    """Says whether data are a whole frame, without decoding it: see `Check`.

    Damage inside slices is not found; `decode_with_report` finds most of it. Takes microseconds. Raises `TypeError`
    for an object without memory, and nothing for any bytes.
    """
    verdict, pictures, declared, present, slices, out_of_data, text = _core.check(data)
    return Check(_VERDICTS[verdict], pictures, declared, present, slices, out_of_data, text)


def _new_arrays(plan: _core.Plan) -> List[Array]:
    # Lines that a decode leaves out must not be old memory.
    allocate = numpy.empty if plan.covers_all else numpy.zeros
    return [cast(Array, allocate(shape, plan.type)) for shape in plan.shapes]


def _planes_to_fill(out: Any, plan: _core.Plan) -> Sequence[Any]:
    if not plan.is_planar:
        return (out,)
    if not isinstance(out, (tuple, list)):
        raise TypeError(f"out is {type(out).__name__}; with the form 'planar' it must be a tuple of planes")
    return out


def decode_planned(
    data: Any,
    out: Any,
    plan: _core.Plan,
    wants_records: bool = False,
    stop: Optional[_core.StopFlag] = None,
) -> Tuple[Any, List[Any]]:
    """A decode with options that are checked; the picture, and records of the slices that failed if they are wanted."""
    if out is not None:
        return out, _core.decode(data, plan, _planes_to_fill(out, plan), False, wants_records, stop)
    arrays = _new_arrays(plan)
    records = _core.decode(data, plan, arrays, True, wants_records, stop)
    return (tuple(arrays) if plan.is_planar else arrays[0]), records


# The result is an array, a tuple of planes, what a form in a variable says, or `out`.
@overload
def decode(
    data: Any, out: None = ..., *, form: Packed = ...,
    size: int = ..., depth: int = ..., coding: str = ..., region: Optional[Sequence[int]] = ..., threads: int = ...,
    target: str = ..., failed: str = ..., mark_color: int = ..., max_pixels: Optional[int] = ...,
    max_read_factor: Optional[int] = ...,
) -> Array: ...
@overload
def decode(
    data: Any, out: None = ..., *, form: Literal["planar"],
    size: int = ..., depth: int = ..., coding: str = ..., region: Optional[Sequence[int]] = ..., threads: int = ...,
    target: str = ..., failed: str = ..., mark_color: int = ..., max_pixels: Optional[int] = ...,
    max_read_factor: Optional[int] = ...,
) -> Tuple[Array, ...]: ...
@overload
def decode(
    data: Any, out: None = ..., *, form: str,
    size: int = ..., depth: int = ..., coding: str = ..., region: Optional[Sequence[int]] = ..., threads: int = ...,
    target: str = ..., failed: str = ..., mark_color: int = ..., max_pixels: Optional[int] = ...,
    max_read_factor: Optional[int] = ...,
) -> Any: ...
@overload
def decode(
    data: Any, out: Out, *, form: str = ...,
    size: int = ..., depth: int = ..., coding: str = ..., region: Optional[Sequence[int]] = ..., threads: int = ...,
    target: str = ..., failed: str = ..., mark_color: int = ..., max_pixels: Optional[int] = ...,
    max_read_factor: Optional[int] = ...,
) -> Out: ...
def decode(
    data: Any,
    out: Any = None,
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
) -> Any:
    """Decodes a frame to an array, or to a tuple of planes.

    data: the frame; any object with the buffer protocol and contiguous memory, which must not change meanwhile.

    out: None, or where to decode to: any writable object with the buffer protocol that has the shape and the type of
        the result, or a tuple of them for planes. Lines may be any distance apart, in both directions; the samples of a
        line must be side by side. Nothing is copied, and `out` is returned.

    size: the divisor of width and height: 1, 2, 4 or 8. Reduced pictures have a depth of 8.

    depth: bits of a sample: 8 gives uint8; 10, 15 (to 32768) and 16 give uint16. "rgba" and "bgra" have 8 or 16,
        "planar" 8, 10 or 16. "rgba-half" is float16 and ignores the default.

    form: the shape of the result. With width and height those of the picture or of the region:
        "coded": (height, width, 2) for 4:2:2, Cb Y Cr Y; (height, width, 4) for 4:4:4, A Y Cb Cr or A R G B
        "rgba", "bgra": (height, width, 4), full range, opaque where the frame has no alpha
        "rgba-half": the same in float16, black 0.0, white 1.0, nothing clipped
        "planar": a tuple of Y, Cb, Cr and, where the frame has it, A: (height, width); for 4:2:2 Cb and Cr are
        (height, (width + 1) // 2)

    coding: of "coded" 4:4:4 frames: "ycbcr" (video range), "rgb" (full range) or "rgb-video" (video range).

    region: None, or (x, y, width, height) in pixels of the chosen size. Coded and planar pixels of 4:2:2 begin at even
        columns, and their width is even unless they end at the right edge.

    threads: maximum number of threads; 0 means one for each processor.

    target: "best", "baseline" or "avx2", the code path.

    failed: what happens to slices that fail: "untouched" keeps what `out` contains, and is 0 without `out`; "black";
        "marked" takes `mark_color`, 0xRRGGBB.

    max_pixels, max_read_factor: frames are refused that have more pixels (None: 2**28), or whose slices read more than
        this factor times their size (None: 2).

    Raises `ravelo.Error` for a frame that is refused, `ValueError` and `TypeError` for arguments, before anything is
    written; `MemoryError`; and whatever a signal handler raises, such as KeyboardInterrupt: decodes above 100 ms in the
    main thread look at signals. Other threads of the interpreter run during the decode.
    """
    options = decode_options(
        size=size,
        depth=depth,
        form=form,
        coding=coding,
        region=region,
        threads=threads,
        target=target,
        failed=failed,
        mark_color=mark_color,
        max_pixels=max_pixels,
        max_read_factor=max_read_factor,
    )
    return decode_planned(data, out, _core.Plan(data, options))[0]


@overload
def decode_with_report(
    data: Any, out: None = ..., *, form: Packed = ...,
    size: int = ..., depth: int = ..., coding: str = ..., region: Optional[Sequence[int]] = ..., threads: int = ...,
    target: str = ..., failed: str = ..., mark_color: int = ..., max_pixels: Optional[int] = ...,
    max_read_factor: Optional[int] = ...,
) -> Tuple[Array, Report]: ...
@overload
def decode_with_report(
    data: Any, out: None = ..., *, form: Literal["planar"],
    size: int = ..., depth: int = ..., coding: str = ..., region: Optional[Sequence[int]] = ..., threads: int = ...,
    target: str = ..., failed: str = ..., mark_color: int = ..., max_pixels: Optional[int] = ...,
    max_read_factor: Optional[int] = ...,
) -> Tuple[Tuple[Array, ...], Report]: ...
@overload
def decode_with_report(
    data: Any, out: None = ..., *, form: str,
    size: int = ..., depth: int = ..., coding: str = ..., region: Optional[Sequence[int]] = ..., threads: int = ...,
    target: str = ..., failed: str = ..., mark_color: int = ..., max_pixels: Optional[int] = ...,
    max_read_factor: Optional[int] = ...,
) -> Tuple[Any, Report]: ...
@overload
def decode_with_report(
    data: Any, out: Out, *, form: str = ...,
    size: int = ..., depth: int = ..., coding: str = ..., region: Optional[Sequence[int]] = ..., threads: int = ...,
    target: str = ..., failed: str = ..., mark_color: int = ..., max_pixels: Optional[int] = ...,
    max_read_factor: Optional[int] = ...,
) -> Tuple[Out, Report]: ...
def decode_with_report(
    data: Any,
    out: Any = None,
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
) -> Tuple[Any, Report]:
    """Decodes a frame as `decode` does; the result of it, and a `Report` of the slices that failed.

    Damage is not an error: a slice with invalid data is skipped, and treated as `failed` says. Slices outside a region
    are not decoded and never fail.
    """
    options = decode_options(
        size=size,
        depth=depth,
        form=form,
        coding=coding,
        region=region,
        threads=threads,
        target=target,
        failed=failed,
        mark_color=mark_color,
        max_pixels=max_pixels,
        max_read_factor=max_read_factor,
    )
    plan = _core.Plan(data, options)
    picture, records = decode_planned(data, out, plan, wants_records=True)
    grid = numpy.zeros(plan.grid, numpy.bool_)
    slices = []
    for index, row, column, component, *rest in records:
        grid[index, row, column] = True
        slices.append(Damage(index, row, column, _COMPONENTS[component], *rest))
    return picture, Report(grid, slices)


def _form_of(array: Picture, form: Optional[str]) -> str:
    if form is not None:
        chosen("form", form, FORMS)
        return form
    if isinstance(array, (tuple, list)):
        return "planar"
    if array.ndim == 3 and array.shape[2] == 2:
        return "coded"
    if array.dtype == numpy.float16:
        return "rgba-half"
    raise ValueError("form is missing: four samples of a pixel can be 'rgba', 'bgra' or 'coded' (A Y Cb Cr)")


def _with_contiguous_lines(plane: Any) -> Array:
    array = numpy.asarray(plane)
    strides = [stride for size, stride in zip(array.shape[1:], array.strides[1:]) if size > 1]
    expected: List[int] = []
    step = array.itemsize
    for size in reversed(array.shape[1:]):
        if size > 1:
            expected.insert(0, step)
        step *= size
    overlaps = array.ndim > 0 and array.shape[0] > 1 and abs(array.strides[0]) < step
    return numpy.ascontiguousarray(array) if strides != expected or overlaps else array


def _weights(name: str, matrix: Optional[Any]) -> bytes:
    if matrix is None:
        return b""
    weights = [integer(name, weight, 1, 255) for weight in numpy.asarray(matrix).ravel()]
    if len(weights) != 64:
        raise ValueError(f"{name} has {len(weights)} weights; it must have 64")
    return bytes(weights)


def _planes_of(array: Any, form: str) -> List[Array]:
    if form != "planar":
        return [_with_contiguous_lines(array)]
    if not isinstance(array, (tuple, list)):
        raise TypeError(f"array is {type(array).__name__}; with the form 'planar' it must be a tuple of planes")
    if len(array) not in (3, 4):
        raise ValueError(f"array has {len(array)} planes; it must have 3 or 4")
    return [_with_contiguous_lines(plane) for plane in array]


def _source_depth(plane: Array, form: str, depth: Optional[int]) -> int:
    if form == "rgba-half":
        return 0
    bits = {"uint8": 8, "uint16": 16}.get(plane.dtype.name)
    if bits is None:
        raise ValueError(f"array has the type {plane.dtype}; it must be uint8, uint16 or, for 'rgba-half', float16")
    if depth is None:
        return bits
    return integer("depth", depth, *((8, 8) if bits == 8 else (9, 16)))


def _source_chroma(planes: List[Array], form: str) -> int:
    """The library's chroma format of coded and planar pictures; 0 for the others."""
    if form == "coded":
        return 2 if planes[0].ndim == 3 and planes[0].shape[2] == 2 else 3
    if form == "planar":
        return 3 if planes[1].ndim == 2 and planes[1].shape == planes[0].shape and planes[0].shape[1] > 1 else 2
    return 0


def encode(
    array: Any,
    *,
    bpp: Optional[float] = None,
    q: Optional[int] = None,
    chroma: Optional[str] = "422",
    alpha: Optional[int] = None,
    form: Optional[str] = None,
    depth: Optional[int] = None,
    interlace: str = "progressive",
    slice_size: int = 8,
    threads: int = 1,
    color_primaries: int = 0,
    transfer_characteristic: int = 0,
    matrix_coefficients: int = 0,
    luma_matrix: Optional[Any] = None,
    chroma_matrix: Optional[Any] = None,
) -> bytes:
    """Encodes a picture to a frame.

    array: the picture in a shape that `decode` gives, uint8, uint16 or float16, or a tuple of planes. Arrays whose
        samples of a line are not side by side are copied.

    bpp: the rate in bits per pixel, above 0, met within 3 %. q: the quantisation index instead, 1 (best) to 255; without
        both it is 4.

    chroma: "422", "444", or None for that of the picture (4:2:2 for RGB).

    alpha: bits of the alpha plane, 8 or 16; None for no plane.

    form: as in `decode`. Without it, two samples of a pixel are "coded", planes are "planar" and float16 is "rgba-half";
        four samples of whole numbers need it.

    depth: bits of the samples; 8 for uint8, 9 to 16 for uint16, which is the default.

    interlace: "progressive", "even-first", "odd-first" or "single-field" (the even lines only).

    slice_size: macroblocks of the largest slice: 1, 2, 4 or 8.

    threads: maximum number of threads, 1 or more. The frame does not depend on it.

    color_primaries, transfer_characteristic, matrix_coefficients: 0 to 255; 0 is BT.709, and of the matrix the one that
        the height decides.

    luma_matrix, chroma_matrix: 64 quantisation weights in raster order, 1 to 255; None for the usual ones.

    Raises `ravelo.Error` for a picture that cannot be encoded so, such as a rate that no index meets, `ValueError`,
    `TypeError`, `MemoryError`, and whatever a signal handler raises.
    """
    if bpp is not None and q is not None:
        raise ValueError("bpp and q are both given; a frame has one of them")
    if bpp is not None and not 0 < bpp < float("inf"):
        raise ValueError(f"bpp is {bpp!r}; it must be above 0")
    form = _form_of(array, form)
    planes = _planes_of(array, form)
    if planes[0].ndim < 2:
        raise ValueError(f"array has the shape {planes[0].shape}; it must have lines and columns")
    options = _core.EncodeOptions(
        bits_per_pixel=0.0 if bpp is None else bpp,
        index=0 if q is None else integer("q", q, 1, 255),
        chroma_format=0 if chroma is None else chosen("chroma", chroma, {"422": 2, "444": 3}),
        alpha_bits=0 if alpha is None else chosen("alpha", alpha, {8: 8, 16: 16}),
        interlace_mode=chosen("interlace", interlace, INTERLACE),
        slice_size=chosen("slice_size", slice_size, {1: 1, 2: 2, 4: 4, 8: 8}),
        threads=integer("threads", threads, 1, 2**32 - 1),
        primaries=integer("color_primaries", color_primaries, 0, 255),
        transfer=integer("transfer_characteristic", transfer_characteristic, 0, 255),
        matrix=integer("matrix_coefficients", matrix_coefficients, 0, 255),
        luma_matrix=_weights("luma_matrix", luma_matrix),
        chroma_matrix=_weights("chroma_matrix", chroma_matrix),
    )
    height, width = planes[0].shape[:2]
    integer("array: width", width, 1, 65535)
    integer("array: height", height, 1, 65535)
    source_depth = _source_depth(planes[0], form, depth)
    return _core.encode(planes, width, height, FORMS[form], source_depth, _source_chroma(planes, form), options)
