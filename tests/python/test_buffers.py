"""Memory of every kind as frame and as output: shapes, types, strides, offsets, objects of others."""

import array
import ctypes
import mmap

import numpy
import pytest
from hypothesis import given, strategies as some

import ravelo
from conftest import FRAMES, frame_named
from test_frames import FORMS, equal, planes_of

DATA = {path.stem: path.read_bytes() for path in FRAMES}
REQUESTS = [(form, depth) for form in FORMS for depth in (8, 10, 15, 16)
            if depth in {"coded": (8, 10, 15, 16), "planar": (8, 10, 16), "rgba-half": (8,)}.get(form, (8, 16))]
GUARD = 0xA5


@some.composite
def requests(draw):
    name = draw(some.sampled_from(sorted(DATA)))
    form, depth = draw(some.sampled_from(REQUESTS))
    size = draw(some.sampled_from((1, 2, 4, 8))) if depth == 8 else 1
    options = {"form": form, "depth": depth, "size": size, "failed": draw(some.sampled_from(("untouched", "black")))}
    info = ravelo.info(DATA[name])
    width, height = info.width // size, info.height // size
    if width and height and draw(some.booleans()):
        step = 2 if info.chroma == "422" and form in ("coded", "planar") else 1
        x = draw(some.integers(0, (width - 1) // step)) * step
        y = draw(some.integers(0, height - 1))
        columns = draw(some.integers(1, max(1, (width - x) // step))) * step
        options["region"] = (x, y, min(columns, width - x), draw(some.integers(1, height - y)))
    return name, options


class Surrounded:
    """An array of a shape in a larger piece of memory, of which every other byte is guarded."""

    def __init__(self, draw, like):
        line_bytes = like[0].nbytes if like.shape[0] else 0
        pitch = line_bytes + draw(some.integers(0, 40))
        before, after = draw(some.integers(0, 33)), draw(some.integers(0, 33))
        self.memory = numpy.full(before + pitch * like.shape[0] + after, GUARD, numpy.uint8)
        upwards = draw(some.booleans())
        first = before + (pitch * (like.shape[0] - 1) if upwards and like.shape[0] else 0)
        strides = (-pitch if upwards else pitch, *like.strides[1:])
        self.array = numpy.ndarray(like.shape, like.dtype, self.memory, first if like.size else 0, strides)

    def guard_is_whole(self):
        whole = self.memory.copy()
        view = numpy.ndarray(self.array.shape, self.array.dtype, whole,
                             self.array.ctypes.data - self.memory.ctypes.data, self.array.strides)
        view.view(numpy.uint8)[...] = GUARD
        return bool((whole == GUARD).all())


@given(some.data())
def test_out_of_any_stride_and_offset_receives_the_same_pixels(data):
    name, options = data.draw(requests())
    frame = DATA[name]
    expected = ravelo.decode(frame, **options)
    outs = [Surrounded(data.draw, plane) for plane in planes_of(expected)]
    for out in outs:
        out.array[...] = 0
    arrays = tuple(out.array for out in outs)
    given_out = arrays if options["form"] == "planar" else arrays[0]
    assert ravelo.decode(frame, given_out, **options) is given_out
    assert equal(given_out, expected)
    assert all(out.guard_is_whole() for out in outs)


@given(some.data())
def test_wrong_outs_are_refused_and_stay_as_they_are(data):
    name, options = data.draw(requests())
    frame = DATA[name]
    like = planes_of(ravelo.decode(frame, **options))
    index = data.draw(some.integers(0, len(like) - 1))
    plane = like[index]
    if plane.size == 0:
        return
    shape, base = plane.shape, numpy.full((plane.shape[0] + 2, *plane.shape[1:]), 7, plane.dtype)
    kind = data.draw(some.sampled_from(("lines", "flat", "type", "order", "overlap", "columns", "readonly", "bytes")))
    wrong = {
        "lines": lambda: base[: shape[0] + 1],
        "flat": lambda: numpy.full(plane.size, 7, plane.dtype),
        "type": lambda: numpy.full(shape, 7, numpy.int16),
        "order": lambda: numpy.full(shape, 7, ">u2"),
        "overlap": lambda: numpy.lib.stride_tricks.as_strided(base, shape, (plane.strides[0] - 1, *plane.strides[1:])),
        "columns": lambda: numpy.full((shape[0], 2 * shape[1], *shape[2:]), 7, plane.dtype)[:, ::2],
        "readonly": lambda: numpy.broadcast_to(numpy.full(shape, 7, plane.dtype), shape),
        "bytes": lambda: bytes(plane.nbytes),
    }[kind]()
    is_accepted = (kind == "overlap" and shape[0] == 1) or (kind == "columns" and shape[1] == 1)
    if is_accepted:
        return
    outs = [numpy.full_like(each, 7) for each in like]
    outs[index] = wrong
    with pytest.raises(ValueError, match="out"):
        ravelo.decode(frame, tuple(outs) if options["form"] == "planar" else outs[0], **options)
    assert (base == 7).all()
    assert all((out == 7).all() for out in outs if out is not wrong)
    assert kind in ("bytes", "overlap") or (wrong == 7).all()


@given(some.data())
def test_any_bytes_are_decoded_or_refused(data):
    frame = bytearray(DATA[data.draw(some.sampled_from(sorted(DATA)))])
    for _ in range(data.draw(some.integers(0, 12))):
        frame[data.draw(some.integers(0, len(frame) - 1))] = data.draw(some.integers(0, 255))
    del frame[data.draw(some.integers(0, len(frame))) :]
    assert ravelo.check(frame).present_bytes == len(frame)
    try:
        info = ravelo.info(frame)
        picture, report = ravelo.decode_with_report(frame, max_pixels=1 << 20)
    except ravelo.Error as error:
        assert error.status in (ravelo.Status.FRAME, ravelo.Status.LIMIT)
        return
    assert picture.shape == (info.height, info.width, 4 if info.chroma == "444" else 2)
    assert report.failed == report.grid.sum()


def test_frames_come_from_any_object_with_memory(tmp_path):
    frame = frame_named("422_progressive")
    expected = ravelo.decode(frame)
    path = tmp_path / "frame.rvl"
    path.write_bytes(frame)
    with open(path, "rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as mapped:
        assert equal(ravelo.decode(mapped), expected)
    for kind in (bytearray, memoryview, lambda data: array.array("B", data), lambda data: numpy.frombuffer(data, "u1"),
                 lambda data: (ctypes.c_uint8 * len(data))(*data), lambda data: memoryview(b"xy" + data)[2:]):
        assert equal(ravelo.decode(kind(frame)), expected)
        assert ravelo.info(kind(frame)) == ravelo.info(frame)


def test_outs_are_any_objects_with_memory():
    frame = frame_named("422_progressive")
    expected = ravelo.decode(frame)
    memory = bytearray(expected.nbytes)
    ravelo.decode(frame, memoryview(memory).cast("B", expected.shape))
    assert bytes(memory) == expected.tobytes()
    foreign = ((ctypes.c_uint8 * 2) * 96 * 64)()
    assert ravelo.decode(frame, foreign) is foreign
    assert bytes(foreign) == expected.tobytes()
    deep = ((ctypes.c_uint16 * 2) * 96 * 64)()
    ravelo.decode(frame, deep, depth=16)
    assert bytes(deep) == ravelo.decode(frame, depth=16).tobytes()
    for wrong in ("text", 5, object()):
        with pytest.raises(TypeError, match="out"):
            ravelo.decode(frame, wrong)


def test_outs_that_share_memory_are_refused():
    frame = bytearray(ravelo.encode(numpy.full((64, 64, 4), 9, numpy.uint8), form="rgba", chroma="444") + bytes(20000))
    with pytest.raises(ValueError, match="share memory"):
        ravelo.decode(frame, memoryview(frame)[-64 * 64 * 4 :].cast("B", (64, 64, 4)))
    plane = numpy.zeros((64, 64), numpy.uint8)
    with pytest.raises(ValueError, match="share memory"):
        ravelo.decode(frame, (plane, plane.copy(), plane), form="planar")
    beside = numpy.zeros((64, 192), numpy.uint8)
    ravelo.decode(frame, (beside[:, :64], beside[::-1, 64:128], beside[:, 128:]), form="planar")
    with pytest.raises(ValueError, match="share memory"):
        ravelo.decode(frame, (beside[:, :64], beside[:, 63:127], beside[:, 128:]), form="planar")
    with pytest.raises(ValueError, match="planes"):
        ravelo.decode(frame, (plane, plane.copy()), form="planar")
    with pytest.raises(TypeError, match="tuple"):
        ravelo.decode(frame, plane, form="planar")


def test_memory_that_is_in_use_cannot_be_resized():
    # A decode holds its memory: the frame can be resized before and afterwards, also after an error.
    frame = bytearray(frame_named("422_progressive"))
    ravelo.decode(frame)
    with pytest.raises(ravelo.Error):
        ravelo.decode(frame, max_pixels=1)
    with pytest.raises(ValueError):
        ravelo.decode(frame, numpy.zeros((1, 1, 1), numpy.uint8))
    frame.extend(b"more")
    del frame[-4:]
    ravelo.decode(frame)
