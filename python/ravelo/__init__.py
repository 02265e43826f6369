"""Decodes and encodes frames of the Ravelo intra-frame video format.

    import ravelo
    picture = ravelo.decode(open("frame.rvl", "rb").read(), form="rgba")

`info`, `check`, `decode`, `decode_with_report` and `encode` work on one frame, `Sequence` on numbered files, and the
module `ravelo.farm` on several machines. All of them may be called from any number of threads.
"""

from ._core import version as __version__
from ._frames import check, decode, decode_with_report, encode, info
from ._records import Check, Damage, Error, Info, Report, Status
from ._sequence import Sequence

__all__ = [
    "Check",
    "Damage",
    "Error",
    "Info",
    "Report",
    "Sequence",
    "Status",
    "__version__",
    "check",
    "decode",
    "decode_with_report",
    "encode",
    "info",
]
