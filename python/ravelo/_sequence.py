"""Numbered files, with the names and numbers that the command `ravelo` understands."""

import bisect
import collections
import collections.abc
import concurrent.futures
import itertools
import os
import re
from typing import Any, Deque, Dict, Iterable, Iterator, List, Optional, Tuple, Union

from . import _core
from ._frames import decode_planned, info
from ._options import chosen, decode_options, integer
from ._records import Error, Info

Numbers = Union[str, Iterable[int], None]

_MAX_NUMBERS = 10_000_000
_RANGE = re.compile(r"([0-9]{1,18})(?:-([0-9]{1,18})(?:x([0-9]{1,18}))?)?")


def parse_numbers(text: str) -> List[int]:
    """The numbers of a list such as "1-100x2,200": ranges with both ends included and an optional step."""
    numbers: List[int] = []
    for part in text.split(","):
        match = _RANGE.fullmatch(part)
        if match is None:
            raise ValueError(f"frames: {part!r} is not a list of numbers such as 1-100x2,200")
        first = int(match[1])
        last, step = int(match[2] or first), int(match[3] or 1)
        if last < first:
            raise ValueError(f"frames: the range {part!r} ends before it starts")
        if step == 0:
            raise ValueError(f"frames: the range {part!r} has the step 0; it must be at least 1")
        if len(numbers) + (last - first) // step + 1 > _MAX_NUMBERS:
            raise ValueError(f"frames: with the range {part!r} there are more than {_MAX_NUMBERS} numbers, the maximum")
        numbers.extend(range(first, last + 1, step))
    return numbers


def format_numbers(numbers: Iterable[int]) -> str:
    """The shortest list of ranges with step 1 for numbers, in their order."""
    parts: List[List[int]] = []
    for number in numbers:
        if parts and parts[-1][1] + 1 == number:
            parts[-1][1] = number
        else:
            parts.append([number, number])
    return ",".join(str(first) if first == last else f"{first}-{last}" for first, last in parts)


# The places of a number in a name, in the order in which they are looked for. The last place in the name counts.
_PERCENT = re.compile(r"%(?:0([0-9]{1,2}))?d")
_VARIABLE = re.compile(r"\$F([1-9])?")
_RUN = re.compile(r"#+|@+")
# A list before # and @ begins with a range, since a single number is a part of the name.
_LIST = re.compile(r"[0-9]+-[0-9][0-9x,-]*$")


class Pattern:
    """The name of a sequence: shot.%04d.rvl, shot.####.rvl, shot.@@@@.rvl or shot.$F4.rvl have at least four digits;
    shot.%d.rvl, shot.#.rvl, shot.@.rvl and shot.$F.rvl no leading zeros. A list of numbers may precede # and @."""

    def __init__(self, pattern: Union[str, "os.PathLike[str]"]) -> None:
        self.text = os.fspath(pattern)
        folder, name = os.path.split(self.text)
        place, digits = self._place_in(name)
        if place is None:
            raise ValueError(f"{self.text!r} has no place for a number, such as ####, %04d or $F4")
        start = place.start()
        self.listed: List[int] = []
        if place.re is _RUN:
            listed = _LIST.search(name[:start])
            if listed is not None:
                start = listed.start()
                self.listed = parse_numbers(listed[0])
        self._folder, self._digits = folder, digits
        self._prefix, self._suffix = name[:start], name[place.end() :]

    @staticmethod
    def _place_in(name: str) -> Tuple[Optional["re.Match[str]"], int]:
        for kind in (_PERCENT, _VARIABLE, _RUN):
            places = list(kind.finditer(name))
            if places:
                last = places[-1]
                return last, len(last[0]) if kind is _RUN else int(last[1] or 1)
        return None, 1

    def path(self, number: int) -> str:
        """The file of a number."""
        return os.path.join(self._folder, f"{self._prefix}{number:0{self._digits}}{self._suffix}")

    def number_of(self, path: str) -> Optional[int]:
        """The number of a file, if it is one of the sequence; 7 and 0007 are not both."""
        name = os.path.basename(path)
        digits = name[len(self._prefix) : len(name) - len(self._suffix)]
        if not digits.isascii() or not digits.isdigit() or len(digits) > 18:
            return None
        return int(digits) if os.path.basename(self.path(int(digits))) == name else None

    def existing(self) -> List[int]:
        """The numbers of the files that exist, in ascending order."""
        try:
            names = os.listdir(self._folder or ".")
        except OSError:
            return []
        return sorted(number for number in map(self.number_of, names) if number is not None)


def _numbers_of(pattern: Pattern, frames: Numbers, existing: List[int]) -> List[int]:
    if isinstance(frames, str):
        return parse_numbers(frames)
    if frames is not None:
        return [integer("frames", number, 0, 10**18 - 1) for number in frames]
    if pattern.listed:
        return pattern.listed
    if not existing:
        raise FileNotFoundError(f"no file matches {pattern.text}")
    if existing[-1] - existing[0] >= _MAX_NUMBERS:
        raise ValueError(f"{pattern.text} matches files from {existing[0]} to {existing[-1]}, which is too many")
    return list(range(existing[0], existing[-1] + 1))


class Sequence(collections.abc.Sequence):  # type: ignore[type-arg]
    """The frames of numbered files, each decoded when it is asked for.

    pattern: the name with a place for the number: shot.####.rvl, shot.%04d.rvl or shot.$F4.rvl have at least four
        digits, shot.#.rvl, shot.%d.rvl and shot.$F.rvl no leading zeros.

    frames: the numbers, as a list such as "1-100x2,200" or as whole numbers. Without it, those in the name, or else all
        from the first file to the last.

    missing: what a number without a file means: "error" raises FileNotFoundError when the frame is asked for, "skip"
        leaves the number out, "hold" takes the last frame before it on disk, or else the first.

    in_flight: frames that an iteration reads and decodes at once, ahead of the one that it gives; 0 means one more than
        there are processors. Results come in order.

    options: those of `ravelo.decode`. With threads=0 an iteration decodes each frame with one thread, which keeps all
        processors busy with less effort.

    Indexing by position decodes one frame; a slice is another Sequence. Errors name the file. Raises `ValueError` and
    `TypeError` for arguments and `FileNotFoundError` where no file matches.
    """

    def __init__(
        self,
        pattern: Union[str, "os.PathLike[str]"],
        frames: Numbers = None,
        *,
        missing: str = "error",
        in_flight: int = 0,
        **options: Any,
    ) -> None:
        self._pattern = Pattern(pattern)
        self._missing_means = chosen("missing", missing, {name: name for name in ("error", "skip", "hold")})
        self._in_flight = integer("in_flight", in_flight, 0, 1024)
        self._options = decode_options(**options)
        ahead = dict(options)
        if not ahead.get("threads"):
            ahead["threads"] = 1
        self._ahead_options = decode_options(**ahead)
        existing = self._pattern.existing()
        present = set(existing)
        numbers = _numbers_of(self._pattern, frames, existing)
        self._stand_ins: Dict[int, int] = {}
        if missing == "hold" and existing:
            for number in numbers:
                if number not in present:
                    self._stand_ins[number] = existing[max(0, bisect.bisect(existing, number) - 1)]
        self._missing = [number for number in numbers if number not in present]
        self._numbers = [number for number in numbers if number in present] if missing == "skip" else numbers

    @property
    def numbers(self) -> List[int]:
        """The numbers of the frames, in order."""
        return list(self._numbers)

    @property
    def missing(self) -> List[int]:
        """The numbers of which there was no file when the sequence was made."""
        return list(self._missing)

    @property
    def pattern(self) -> str:
        """The name of the sequence."""
        return self._pattern.text

    def path(self, index: int) -> str:
        """The file of a frame, by its position; of one that is missing, the file that would be it, or that is held."""
        number = self._numbers[index]
        return self._pattern.path(self._stand_ins.get(number, number))

    def info(self, index: int) -> Info:
        """The header of a frame, by its position."""
        with open(self.path(index), "rb") as file:
            return info(file.read(65536))

    def __len__(self) -> int:
        return len(self._numbers)

    def __repr__(self) -> str:
        return f"ravelo.Sequence({self.pattern!r}, {format_numbers(self._numbers)!r})"

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            part = object.__new__(Sequence)
            part.__dict__.update(self.__dict__)
            part._numbers = self._numbers[index]
            missing = set(self._missing)
            part._missing = [number for number in part._numbers if number in missing]
            return part
        return self._decoded(self.path(index), self._options, None)

    @staticmethod
    def _decoded(path: str, options: _core.Options, stop: Optional[_core.StopFlag]) -> Any:
        with open(path, "rb") as file:
            data = file.read()
        try:
            return decode_planned(data, None, _core.Plan(data, options), stop=stop)[0]
        except Error as error:
            raise Error(error.status, f"{path}: {error.text}") from None

    def __iter__(self) -> Iterator[Any]:
        in_flight = self._in_flight or len(os.sched_getaffinity(0)) + 1
        # Decodes under way end early when the iteration does, by an error, a signal or a break.
        stop = _core.StopFlag()
        paths = (self.path(index) for index in range(len(self)))
        workers = concurrent.futures.ThreadPoolExecutor(in_flight, "ravelo-sequence")
        try:
            ahead: Deque["concurrent.futures.Future[Any]"] = collections.deque(
                workers.submit(self._decoded, path, self._ahead_options, stop)
                for path in itertools.islice(paths, in_flight)
            )
            while ahead:
                picture = ahead.popleft().result()
                for path in itertools.islice(paths, 1):
                    ahead.append(workers.submit(self._decoded, path, self._ahead_options, stop))
                yield picture
        finally:
            stop.request()
            workers.shutdown(wait=False, cancel_futures=True)
