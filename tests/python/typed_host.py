"""A host as the type checker sees it; each line marked wrong must be one, which --warn-unused-ignores makes sure of."""

from typing_extensions import assert_type

import ravelo

frame = b""
assert_type(ravelo.info(frame), ravelo.Info)
assert_type(ravelo.info(frame).width, int)
assert_type(ravelo.check(frame).is_whole, bool)
assert_type(ravelo.decode_with_report(frame)[1].slices, list[ravelo.Damage])
assert_type(ravelo.encode(ravelo.decode(frame), bpp=4), bytes)
ravelo.decode(frame, size=2, region=(0, 0, 16, 16), threads=1, max_pixels=None)
ravelo.decode(frame, size="half")  # type: ignore[arg-type]
ravelo.decode(frame, sizes=2)  # type: ignore[call-arg]
ravelo.info(frame).width = 3  # type: ignore[misc]
