from typing import Any, List, Optional, Sequence, Tuple

version: str

def best_target() -> int: ...

class StopFlag:
    def __init__(self) -> None: ...
    def request(self) -> None: ...

class Options:
    def __init__(
        self,
        reduction: int,
        depth: int,
        form: int,
        coding: int,
        region: Optional[Tuple[int, int, int, int]],
        threads: int,
        target: int,
        failed: int,
        mark_color: int,
        max_pixels: int,
        max_read_factor: int,
    ) -> None: ...

class Plan:
    def __init__(self, data: Any, options: Options) -> None: ...
    @property
    def type(self) -> str: ...
    @property
    def is_planar(self) -> bool: ...
    @property
    def covers_all(self) -> bool: ...
    @property
    def grid(self) -> Tuple[int, int, int]: ...
    @property
    def shapes(self) -> List[Tuple[int, ...]]: ...

class EncodeOptions:
    def __init__(
        self,
        bits_per_pixel: float,
        index: int,
        chroma_format: int,
        alpha_bits: int,
        interlace_mode: int,
        slice_size: int,
        threads: int,
        primaries: int,
        transfer: int,
        matrix: int,
        luma_matrix: bytes,
        chroma_matrix: bytes,
    ) -> None: ...

def info(data: Any) -> Tuple[int, int, int, int, int, int, int, int, int, int, bool, bool]: ...
def check(data: Any) -> Tuple[int, int, int, int, int, int, str]: ...
def decode(
    data: Any, plan: Plan, planes: Sequence[Any], is_new: bool, wants_records: bool, stop: Optional[StopFlag]
) -> List[Tuple[int, int, int, int, int, int, int, int, int, int]]: ...
def encode(
    planes: Sequence[Any],
    width: int,
    height: int,
    form: int,
    depth: int,
    chroma_format: int,
    options: EncodeOptions,
) -> bytes: ...
