"""How much faster one frame is on several cores, by how its slices are cut into tasks.

Simulates the threads of a loop with the slice sizes of real frames. Prints the speed-up over one core for each frame, and
the medians of all frames.

    python3 bench/schedule_simulation.py [--cores N,N...] [--least N,N...] [--most N,N...] [--start turn|tree] [FRAME...]

Without FRAME it takes the *-3.5.rvl and *-7.0.rvl of scripts/bench-pictures --table. A task is a row of slices, two rows or
a part of one ("the last n": n is the number of cores); or "guided": the next left / (divisor * threads) slices in raster
order, at least --least and at most --most. One core is guided with one thread, divisor 1 and the first value of each limit.

A task costs clocks for its pixels, for its bits and for itself. Sixteen vector lanes scan its components, longest first, and
take as long as the lane with most bits, so a task of few slices costs more for each bit. Threads start one after the other
("turn"), or each wakes two more ("tree"), as the library does. A free thread takes the next task.

The model leaves out:
- what cores share: memory bandwidth, the third-level cache, the frequency, the units of two threads on one core;
- caches: a core loads the tables first, and the coefficients of a long task may not fit;
- waiting for the counter and at the end of the loop, a delayed thread, and that small pictures are not shared;
- the largest group of slices that the decoder reads at once, and forms of output that need whole rows;
- that bits of long codes and pixels of 4:4:4 cost more: the rates are those of an ordinary 4:2:2 frame in YCbCr;
- alpha and pictures of fields. Such frames are refused.
"""

import argparse
import functools
import heapq
import os
import pathlib
import statistics
import struct
import sys

CLOCKS_PER_PIXEL = 1.9
CLOCKS_PER_BIT = 0.70  # with all lanes full
CLOCKS_PER_TASK = 1500
CLOCKS_TO_WAKE = 9000  # 3 microseconds at 3 GHz
LANES = 16
LEAST_COMPONENTS = 12  # kFewestLaneScans: the decoder scans fewer without lanes.
PLAIN_SCAN = 2.2  # clocks of a bit without lanes, over those of a bit with all lanes full


class Picture:
    """The slices of a frame in raster order, each with its pixels and the bits of its components."""

    def __init__(self, data):
        header_size, = struct.unpack_from(">H", data, 8)
        width, height, chroma_and_interlace = struct.unpack_from(">HHB", data, 16)
        if chroma_and_interlace >> 2 & 3:
            raise ValueError("its pictures are fields; only whole pictures are simulated")
        if data[8 + 17] & 15:
            raise ValueError("it has alpha, which is not simulated")
        start = 8 + header_size
        left, sizes = (width + 15) // 16, []  # macroblocks
        while left:
            sizes.append(min(1 << (data[start + 7] >> 4 & 3), 1 << left.bit_length() - 1))
            left -= sizes[-1]
        self.per_row, self.num_rows = len(sizes), (height + 15) // 16
        self.num_slices = self.per_row * self.num_rows
        if self.num_slices == 0:
            raise ValueError("it has no slices")
        self.pixels = [256 * size for size in sizes] * self.num_rows
        table = start + (data[start] >> 3)
        self.bits = []
        position = table + 2 * self.num_slices
        for size in struct.unpack_from(f">{self.num_slices}H", data, table):
            header_size, y, cb = struct.unpack_from(">BxHH", data, position) if size else (0, 0, 0)
            self.bits.append((8 * y, 8 * cb, max(0, 8 * (size - (header_size >> 3) - y - cb))))
            position += size
        self.cost = functools.cache(self._cost)

    def _cost(self, first, count):
        """Clocks of a task of `count` slices."""
        components = sorted((bits for slice_bits in self.bits[first:first + count] for bits in slice_bits), reverse=True)
        if len(components) < LEAST_COMPONENTS:
            scanned = PLAIN_SCAN * sum(components)
        else:
            lanes = components[:LANES]
            heapq.heapify(lanes)
            for bits in components[LANES:]:
                heapq.heapreplace(lanes, lanes[0] + bits)
            scanned = LANES * max(lanes)
        return CLOCKS_PER_TASK + CLOCKS_PER_PIXEL * sum(self.pixels[first:first + count]) + CLOCKS_PER_BIT * scanned


def row_parts(picture, rows, parts):
    """Each row in `parts` tasks, as pairs of the first slice and the number of slices."""
    bounds = [picture.per_row * part // parts for part in range(parts + 1)]
    return [(row * picture.per_row + begin, end - begin) for row in rows for begin, end in zip(bounds, bounds[1:]) if begin < end]


def pairs_of_rows(picture):
    step = 2 * picture.per_row
    return [(first, min(step, picture.num_slices - first)) for first in range(0, picture.num_slices, step)]


def guided(picture, cores, least, most, divisor):
    """The number of slices of a task depends only on how many are left, so the tasks are known beforehand."""
    tasks, first = [], 0
    while first < picture.num_slices:
        left = picture.num_slices - first
        tasks.append((first, min(left, most, max(least, left // (divisor * cores)))))
        first += tasks[-1][1]
    return tasks


def ways(picture, cores, options):
    """The tasks of each way to cut the picture for a number of cores, by the way's name."""
    rows = range(picture.num_rows)
    whole = max(0, picture.num_rows - cores)
    result = {
        "two rows": pairs_of_rows(picture),
        "a row": row_parts(picture, rows, 1),
        "half a row": row_parts(picture, rows, 2),
        "a third of a row": row_parts(picture, rows, 3),
        "rows, the last n in thirds": row_parts(picture, rows[:whole], 1) + row_parts(picture, rows[whole:], 3),
    }
    for least in options.least:
        for most in options.most:
            for divisor in (1, 2, 3, 4):
                result[f"guided, {least} to {most}, divisor {divisor}"] = guided(picture, cores, least, most, divisor)
    return result


def elapsed(picture, tasks, cores, start):
    """Clocks until the last task ends. The calling thread starts at once."""
    steps = [(core + 1).bit_length() - 1 if start == "tree" else core for core in range(cores)]
    free = [CLOCKS_TO_WAKE * step for step in steps]  # Ascending, so a heap.
    end = 0
    for first, count in tasks:
        task_end = free[0] + picture.cost(first, count)
        heapq.heapreplace(free, task_end)
        end = max(end, task_end)
    return end


def speed_ups(picture, options):
    """By the name of the way, one figure for each number of cores."""
    one_core = elapsed(picture, guided(picture, 1, options.least[0], options.most[0], 1), 1, options.start)
    result = {}
    for cores in options.cores:
        for way, tasks in ways(picture, cores, options).items():
            result.setdefault(way, []).append(one_core / elapsed(picture, tasks, cores, options.start))
    return result


def print_table(title, figures, cores):
    print(f"### {title}\n")
    print("| task | " + " | ".join(map(str, cores)) + " |")
    print("|---" * (len(cores) + 1) + "|")
    for way, values in figures.items():
        print(f"| {way} | " + " | ".join(f"{value:.2f}" for value in values) + " |")
    print()


def default_frames():
    cache = os.environ.get("XDG_CACHE_HOME") or os.path.expanduser("~/.cache")
    folder = pathlib.Path(os.environ.get("RAVELO_BENCH_CACHE") or f"{cache}/raveloopt/bench")
    return sorted(path for rate in ("3.5", "7.0") for path in folder.glob(f"*-{rate}.rvl"))


def numbers(text):
    values = [int(number) for number in text.split(",")]
    if min(values) < 1:
        raise argparse.ArgumentTypeError(f"{min(values)} is out of range (1 or more)")
    return values


def main():
    parser = argparse.ArgumentParser(description="Speed-up of one frame on several cores, by how its slices are cut into tasks.")
    parser.add_argument("--cores", type=numbers, default="1,2,8,16,64", help="default: %(default)s")
    parser.add_argument("--least", type=numbers, default="5,15", help="slices of a guided task (default: %(default)s)")
    parser.add_argument("--most", type=numbers, default="30", help="slices of a guided task (default: %(default)s)")
    parser.add_argument("--start", choices=("turn", "tree"), default="turn", help="how threads start (default: %(default)s)")
    parser.add_argument("frames", metavar="FRAME", type=pathlib.Path, nargs="*")
    options = parser.parse_args()
    results = []
    for path in options.frames or default_frames():
        try:
            results.append(speed_ups(Picture(path.read_bytes()), options))
        except OSError as error:
            sys.exit(f"{path}: {error.strerror}")
        except ValueError as error:
            sys.exit(f"{path}: {error}")
        except (IndexError, struct.error):
            sys.exit(f"{path}: not a frame, or cut off in the headers or the slice table")
        print_table(path.stem, results[-1], options.cores)
    if not results:
        sys.exit("no frames; scripts/bench-pictures --table makes them")
    medians = {way: [statistics.median(values) for values in zip(*(figures[way] for figures in results))] for way in results[0]}
    print_table(f"Medians of {len(results)} frames", medians, options.cores)


if __name__ == "__main__":
    main()
