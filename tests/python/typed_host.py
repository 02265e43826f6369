"""A host as the type checker sees it; each line marked wrong must be one, which --warn-unused-ignores makes sure of."""

from typing import Any, Tuple

import numpy
from typing_extensions import assert_type

import ravelo

Array = numpy.ndarray[Any, numpy.dtype[Any]]
Bytes = numpy.ndarray[Any, numpy.dtype[numpy.uint8]]

frame = b""
form: str = "rgba"
canvas = bytearray(64)
picture = numpy.zeros((4, 4), numpy.uint8)
assert_type(ravelo.info(frame), ravelo.Info)
assert_type(ravelo.info(frame).width, int)
assert_type(ravelo.check(frame).is_whole, bool)

# Planes are a tuple, every other form is an array, and `out` comes back as it is.
assert_type(ravelo.decode(frame), Array)
assert_type(ravelo.decode(frame, None, form="rgba-half", size=2), Array)
assert_type(ravelo.decode(frame, form="planar", depth=16), Tuple[Array, ...])
assert_type(ravelo.decode(frame, form=form), Any)
assert_type(ravelo.decode(frame, canvas, form="bgra"), bytearray)
assert_type(ravelo.decode(frame, (canvas, picture, canvas), form="planar"), Tuple[bytearray, Bytes, bytearray])
assert_type(ravelo.decode_with_report(frame), Tuple[Array, ravelo.Report])
assert_type(ravelo.decode_with_report(frame, form="planar"), Tuple[Tuple[Array, ...], ravelo.Report])
assert_type(ravelo.decode_with_report(frame, form=form)[0], Any)
assert_type(ravelo.decode_with_report(frame, out=canvas)[0], bytearray)
assert_type(ravelo.decode_with_report(frame)[1].slices, list[ravelo.Damage])

assert_type(ravelo.encode(ravelo.decode(frame), bpp=4), bytes)
ravelo.decode(frame, size=2, region=(0, 0, 16, 16), threads=1, max_pixels=None)
ravelo.decode(frame, size="half")  # type: ignore[call-overload]
ravelo.decode(frame, sizes=2)  # type: ignore[call-overload]
ravelo.decode(frame, 7)  # type: ignore[call-overload]
ravelo.info(frame).width = 3  # type: ignore[misc]
