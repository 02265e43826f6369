"""Sequences on several machines, with Dask: Debian's python3-dask and python3-distributed.

Dask is imported when a function is called, so the rest of `ravelo` does without it. The files have the same names on all
machines.
"""

import dataclasses
import importlib
import json
import os
import shutil
import subprocess
from typing import Any, Callable, Dict, Iterable, List, Tuple, Union
from typing import Sequence as Arguments

from . import _core
from ._frames import decode
from ._options import decode_options, integer
from ._sequence import Numbers, Pattern, Sequence, format_numbers


@dataclasses.dataclass
class Result:
    """What became of the frames of a job, by their numbers."""

    values: Dict[int, Any] = dataclasses.field(default_factory=dict)
    """What the function returned, or the files that were written."""
    damaged: Dict[int, int] = dataclasses.field(default_factory=dict)
    """Slices that failed, of files that were written."""
    failures: Dict[int, str] = dataclasses.field(default_factory=dict)
    """What was wrong with frames that have no value."""
    existing: List[int] = dataclasses.field(default_factory=list)
    """Frames whose output existed, so that nothing was done."""
    missing: List[int] = dataclasses.field(default_factory=list)
    """Frames without a file."""

    @property
    def exit_code(self) -> int:
        """For schedulers, as of the command: 0 done, 3 damage or failures, 1 nothing came out."""
        if not self.failures:
            return 3 if self.damaged else 0
        return 3 if self.values or self.existing else 1

    def _add(self, part: "Result") -> None:
        self.values.update(part.values)
        self.damaged.update(part.damaged)
        self.failures.update(part.failures)
        self.existing = sorted(self.existing + part.existing)


def _frame(path: str, options: Dict[str, Any], shape: Tuple[int, ...]) -> Any:
    with open(path, "rb") as file:
        data = file.read()
    plan = _core.Plan(data, decode_options(**options))
    if tuple(plan.shapes[0]) != shape:
        raise ValueError(f"{path} has the shape {tuple(plan.shapes[0])}; the frames before it have {shape}")
    return decode(data, **options)[None]


def sequence_array(
    pattern: Union[str, "os.PathLike[str]"], frames: Numbers = None, *, missing: str = "error", **options: Any
) -> Any:
    """A lazy `dask.array` of a sequence: axes frame, line, column, sample; one chunk a frame.

    pattern, frames, missing, options: as of `ravelo.Sequence`; no planes, and threads=1 unless it is given. The first
    frame that has a file gives the shape and the type, and a frame with another shape is an error when it is computed.
    Raises `FileNotFoundError` where no file matches.
    """
    array, base = importlib.import_module("dask.array"), importlib.import_module("dask.base")
    options.setdefault("threads", 1)
    if options.get("form") == "planar":
        raise ValueError("form is 'planar'; planes of different widths do not fit into one array")
    sequence = Sequence(pattern, frames, missing=missing, **options)
    paths = [sequence.path(index) for index in range(len(sequence))]
    present = [path for path in paths if os.path.exists(path)]
    if not present:
        raise FileNotFoundError(f"no file matches {sequence.pattern}")
    with open(present[0], "rb") as file:
        plan = _core.Plan(file.read(), decode_options(**options))
    shape = tuple(plan.shapes[0])
    # Files that change have other names in the cluster, which may keep results.
    states = [(path, os.stat(path).st_mtime_ns, os.stat(path).st_size) for path in present]
    name = "ravelo-" + base.tokenize(paths, states, options)
    graph = {(name, index, *(0 for _ in shape)): (_frame, path, options, shape) for index, path in enumerate(paths)}
    chunks = ((1,) * len(paths), *((size,) for size in shape))
    return array.Array(graph, name, chunks, dtype=plan.type)


def _distributed() -> Any:
    return importlib.import_module("distributed")


def _connected(client: Any) -> Any:
    if client is None:
        return _distributed().default_client()
    return _distributed().Client(client) if isinstance(client, str) else client


class _Ranges:
    """Runs a task for ranges of numbers.

    The cluster gives a range whose worker died to another. One that has lost several workers comes back: it is divided,
    and frames that are left of it are tried alone at the end, when they cannot take others with them.
    """

    def __init__(self, client: Any, task: "_Task", retries: int) -> None:
        self._client, self._task, self._retries = client, task, retries
        self._under_way: Dict[Any, List[int]] = {}
        self._suspects: List[int] = []
        self.result = Result()

    def _submit(self, part: List[int]) -> Any:
        future = self._client.submit(self._task, part, pure=False, retries=self._retries)
        self._under_way[future] = part
        return future

    def _handle(self, future: Any, is_last: bool) -> List[Any]:
        """Takes a range that ended; the futures of those that it was divided into."""
        part = self._under_way[future]
        try:
            # A result is lost with its worker; then this waits for another.
            self.result._add(future.result())
        except _distributed().KilledWorker:
            return self._divide(part, is_last)
        except (TypeError, ValueError):
            raise
        except Exception as error:
            self.result.failures.update((number, f"{type(error).__name__}: {error}") for number in part)
        finally:
            del self._under_way[future]
        return []

    def _divide(self, part: List[int], is_last: bool) -> List[Any]:
        """Takes a range that lost workers."""
        if len(part) > 1:
            middle = len(part) // 2
            return [self._submit(part[:middle]), self._submit(part[middle:])]
        if is_last:
            self.result.failures[part[0]] = "every worker that took it died"
        else:
            self._suspects += part
        return []

    def run(self, numbers: List[int], chunk: int) -> Result:
        """All ranges of at most `chunk` numbers."""
        as_completed = _distributed().as_completed
        try:
            parts = [numbers[first : first + chunk] for first in range(0, len(numbers), chunk)]
            completed = as_completed([self._submit(part) for part in parts])
            for future in completed:
                completed.update(self._handle(future, False))
            for number in self._suspects:
                for future in as_completed([self._submit([number])]):
                    self._handle(future, True)
        finally:
            # After an error or a signal nobody begins the rest.
            for future in self._under_way:
                future.release()
        return self.result


def _call_range(
    part: List[int], function: Callable[[Any, int], Any], pattern: str, missing: str, options: Dict[str, Any]
) -> Result:
    result = Result()
    sequence = Sequence(pattern, part, missing=missing, **options)
    for index, number in enumerate(sequence.numbers):
        try:
            result.values[number] = function(sequence[index], number)
        except Exception as error:
            result.failures[number] = f"{type(error).__name__}: {error}"
    return result


class _Task:
    """A function with all arguments but the first, which a worker can receive."""

    def __init__(self, function: Callable[..., Result], *arguments: Any) -> None:
        self.function, self.arguments = function, arguments

    def __call__(self, part: List[int]) -> Result:
        return self.function(part, *self.arguments)


def map_frames(
    function: Callable[[Any, int], Any],
    pattern: Union[str, "os.PathLike[str]"],
    frames: Numbers = None,
    client: Any = None,
    *,
    chunk: int = 16,
    retries: int = 2,
    missing: str = "error",
    **options: Any,
) -> Result:
    """Calls function(picture, number) for every frame, on the workers of a cluster.

    function: one that the workers can import, or that the program or a lambda defines. What it returns is sent back.

    pattern, frames, missing, options: as of `ravelo.Sequence`, with threads=1 unless it is given.

    client: a `distributed.Client`, the address of a scheduler, or None for the client that was made last.

    chunk: frames of a range, which one worker processes. A range whose worker dies is given to another; one that kills
        every worker is divided until the frames are found that do it. retries: how often a range is tried again that
        fails as a whole for another reason.

    Returns a `Result`. A frame that cannot be read or decoded, or for which the function raises, is one of its `failures`
    and costs nothing but itself. Ctrl-C ends the call at once; ranges that workers have begun go on to their end. Raises
    `ValueError` and `TypeError` for arguments, `FileNotFoundError` where no file matches.
    """
    options.setdefault("threads", 1)
    sequence = Sequence(pattern, frames, missing=missing, **options)
    task = _Task(_call_range, function, sequence.pattern, missing, options)
    result = _Ranges(_connected(client), task, retries).run(sequence.numbers, integer("chunk", chunk, 1, 10**6))
    result.missing = sequence.missing
    return result


def _command_line(command: str, part: Iterable[int], arguments: Arguments[str]) -> List[str]:
    found = shutil.which(command)
    if found is None:
        raise FileNotFoundError(f"there is no command {command!r} on this machine")
    # A worker that is killed takes its command with it.
    guard = shutil.which("setpriv")
    prefix = [guard, "--pdeathsig", "TERM", "--"] if guard is not None else []
    return [*prefix, found, "decode", *arguments, "--frames", format_numbers(part), "--json", "--quiet"]


def _decode_range(part: List[int], command: str, pattern: str, arguments: Arguments[str]) -> Result:
    ended = subprocess.run(_command_line(command, part, arguments), capture_output=True, text=True, check=False)
    text = ended.stderr.strip()
    if ended.returncode == 2:
        raise ValueError(text)
    try:
        report = json.loads(ended.stdout)
    except ValueError:
        error = text or f"{command} ended with {ended.returncode}"
        return Result(failures={number: error for number in part})
    names = Pattern(pattern)
    number_of = {names.path(number): number for number in part}
    result = Result(
        failures={number_of[each["file"]]: each["error"] for each in report["failures"]},
        existing=[number_of[each["file"]] for each in report["existing"]],
    )
    for frame in report["frames"]:
        number = number_of[frame["file"]]
        if frame["output"] is None:
            result.failures[number] = "every slice failed"
            continue
        result.values[number] = frame["output"]
        if frame["failed_slices"]:
            result.damaged[number] = frame["failed_slices"]
    return result


def decode_sequence(
    pattern: Union[str, "os.PathLike[str]"],
    output: Union[str, "os.PathLike[str]"],
    client: Any = None,
    frames: Numbers = None,
    *,
    arguments: Arguments[str] = (),
    missing: str = "error",
    resume: bool = True,
    chunk: int = 16,
    retries: int = 2,
    command: str = "ravelo",
) -> Result:
    """Decodes a sequence to files, by the command `ravelo` on the workers of a cluster.

    pattern, frames: as of `ravelo.Sequence`. output: a numbered name such as out.####.png, or a folder with a / at its
        end; its extension is the format, any that the command writes to a file a frame.

    arguments: more options of `ravelo decode`, such as ["--size", "half"]. missing: "error", "skip", "hold" or "black",
        as of the command.

    resume: whether outputs that exist are taken as finished; otherwise they are written anew. An output has its name only
        when it is complete, whatever happens to a worker.

    client, chunk, retries: as of `map_frames`. command: its name or its path on the workers.

    Returns a `Result` whose values are the files written. Frames that fail are among its `failures`, and `exit_code` is
    that of the command. Raises as `map_frames` does, and `ValueError` for options that the command does not accept.
    """
    holes = "error" if missing == "black" else missing
    sequence = Sequence(pattern, frames, missing=holes)
    all_arguments = [
        *(sequence.pattern, "-o", os.fspath(output), "--keep-going", "--missing", missing, "--threads", "1"),
        "--skip-existing" if resume else "--force",
        *arguments,
    ]
    task = _Task(_decode_range, command, sequence.pattern, all_arguments)
    result = _Ranges(_connected(client), task, retries).run(sequence.numbers, integer("chunk", chunk, 1, 10**6))
    result.missing = sequence.missing
    return result
