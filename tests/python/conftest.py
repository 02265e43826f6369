"""What the tests of the Python module share: given frames, and pictures to encode."""

import os
import pathlib

import hypothesis
import numpy
import pytest

import ravelo

ROOT = pathlib.Path(__file__).resolve().parents[2]
FRAMES = sorted((ROOT / "tests/data/golden").glob("*.rvl"))

# The seed is fixed, as in all tests; RAVELO_TEST_SEED chooses another.
hypothesis.settings.register_profile("suite", max_examples=60, deadline=None, database=None, derandomize=True)
hypothesis.settings.register_profile("long", max_examples=5000, deadline=None, database=None)
hypothesis.settings.load_profile(os.environ.get("RAVELO_HYPOTHESIS", "suite"))


def frame_named(name):
    return (ROOT / "tests/data/golden" / (name + ".rvl")).read_bytes()


def noise(shape, dtype=numpy.uint8, seed=1):
    numbers = numpy.random.default_rng(seed)
    if dtype == numpy.float16:
        return numbers.random(shape).astype(numpy.float16)
    return numbers.integers(0, numpy.iinfo(dtype).max, shape, dtype, endpoint=True)


@pytest.fixture(scope="session")
def command():
    """The command `ravelo`; the tests of the installed tree have none."""
    path = os.environ.get("RAVELO_COMMAND")
    if not path:
        pytest.skip("RAVELO_COMMAND names no command")
    return path


@pytest.fixture(params=FRAMES, ids=lambda path: path.stem)
def frame(request):
    return request.param.read_bytes()


@pytest.fixture(scope="session")
def long_frame():
    """A frame of 33 million pixels, whose rows of slices are all the same. One thread needs tenths of a second for it."""
    return repeated_rows(ravelo.encode(noise((16, 2048, 2)), q=1), 1000)


def repeated_rows(frame, times):
    """The frame with all its rows of slices `times` times below each other."""
    info = ravelo.info(frame)
    start = info.header_bytes
    header_bytes = frame[start] // 8
    slices = ravelo.check(frame).slices
    table = frame[start + header_bytes : start + header_bytes + 2 * slices]
    body = frame[start + header_bytes + 2 * slices :]
    whole = bytearray(frame[: start + header_bytes] + times * table + times * body)
    height = info.height * times
    whole[18:20] = height.to_bytes(2, "big")
    whole[start + 1 : start + 5] = (len(whole) - start).to_bytes(4, "big")
    assert ravelo.check(bytes(whole)).verdict == "whole"
    return bytes(whole)
