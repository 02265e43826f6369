"""Records, statuses and errors of the module."""

import dataclasses
import enum
from typing import List, Tuple

import numpy


class Status(enum.IntEnum):
    """What a call of the library ended with."""

    STOPPED = 1
    ARGUMENT = 2
    STRUCTURE = 3
    FRAME = 4
    OPTION = 5
    COMBINATION = 6
    LIMIT = 7
    BUFFER = 8
    MEMORY = 9
    INTERNAL = 10


class Error(Exception):
    """A frame or a picture that the library refuses.

    `status` says why: FRAME for data that are shorter than a header or have no pixels, COMBINATION for options that
    contradict each other or the frame, LIMIT for a frame above `max_pixels` or `max_read_factor`. `text` says it in
    words, with the values.
    """

    def __init__(self, status: int, text: str) -> None:
        super().__init__(status, text)
        self.status = Status(status)
        self.text = text

    def __str__(self) -> str:
        return self.text


@dataclasses.dataclass(frozen=True)
class Info:
    """The content of a frame's header."""

    width: int
    """Pixels of a line at full size."""
    height: int
    """Lines at full size, both fields together."""
    chroma: str
    """"422" or "444"."""
    interlace: str
    """"progressive", "even-first", "odd-first" or "single-field"."""
    pictures: int
    """Coded pictures: 2 for two fields, else 1."""
    alpha_bits: int
    """Bits of the alpha plane: 0 (none), 8 or 16."""
    color_primaries: int
    """As in the header; 1 is BT.709."""
    transfer_characteristic: int
    """As in the header; 1 is BT.709."""
    matrix_coefficients: int
    """As in the header; 1 is BT.709, 6 BT.601, 9 BT.2020. With other values the height decides."""
    header_bytes: int
    """Bytes before the first picture."""
    has_luma_matrix: bool
    """Whether the header contains a quantisation matrix for luma."""
    has_chroma_matrix: bool
    """The same for chroma."""


@dataclasses.dataclass(frozen=True)
class Check:
    """What the structure of a frame shows."""

    verdict: str
    """"whole", "cut-off", "broken", "followed" or "foreign"; the first that applies from the end."""
    pictures: int
    """Coded pictures that the header declares; 0 where it is missing."""
    declared_bytes: int
    """The end of the last slice, by the headers; 0 for a foreign file."""
    present_bytes: int
    """Bytes of the data."""
    slices: int
    """Slices of all pictures, by the headers."""
    slices_out_of_data: int
    """Those that reach past the data."""
    text: str
    """The verdict in words, one line."""

    @property
    def is_whole(self) -> bool:
        """Whether the frame is there, and after it at most zeros."""
        return self.verdict == "whole"


@dataclasses.dataclass(frozen=True)
class Damage:
    """A slice that failed."""

    picture: int
    """0 for the first coded picture, 1 for the second."""
    row: int
    """Row of macroblocks in that picture."""
    column: int
    """Slice of the row, from the left."""
    component: str
    """The first component that failed: "Y", "Cb" or "Cr"."""
    byte_offset: int
    """Of the slice's first byte in the frame; the size of the data for a slice after their end."""
    x: int
    """The slice's pixels in the output: first column,"""
    y: int
    """first line,"""
    width: int
    """columns (0 if none is in the output)"""
    height: int
    """and lines;"""
    line_step: int
    """2 if the slice covers every second line, else 1."""


@dataclasses.dataclass(frozen=True)
class Report:
    """The damage that a decode found."""

    grid: "numpy.ndarray[Tuple[int, int, int], numpy.dtype[numpy.bool_]]"
    """True for every slice that failed: axes picture, row of macroblocks, slice of the row."""
    slices: List[Damage]
    """The slices that failed, ordered by picture, row and column."""

    @property
    def failed(self) -> int:
        """The number of slices that failed."""
        return len(self.slices)
