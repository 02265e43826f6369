"""What a call of the Python module costs compared with the C call, and how decodes scale over threads.

Prints medians of interleaved rounds; for scripts/bench-python, on a machine that does nothing else.

    python_bench.py LIBRAVELO [ROUNDS]
"""

import concurrent.futures
import ctypes
import statistics
import sys
import time
import tracemalloc

import numpy

import ravelo


class Output(ctypes.Structure):
    _fields_ = [("struct_size", ctypes.c_uint64), ("memory", ctypes.c_void_p), ("memory_bytes", ctypes.c_uint64),
                ("first_line", ctypes.c_uint64), ("stride", ctypes.c_int64), ("planes", ctypes.c_uint64 * 16)]


class Options(ctypes.Structure):
    _fields_ = [("struct_size", ctypes.c_uint64), ("reduction", ctypes.c_uint32), ("coding", ctypes.c_uint32),
                ("bit_depth", ctypes.c_uint32), ("target", ctypes.c_uint32), ("max_threads", ctypes.c_uint32),
                ("failed_slices", ctypes.c_uint32), ("mark_color", ctypes.c_uint32), ("max_read_factor", ctypes.c_uint32),
                ("max_pixels", ctypes.c_uint64), ("stop", ctypes.c_void_p), ("damage", ctypes.c_void_p),
                ("pixel_form", ctypes.c_uint32), ("region", ctypes.c_uint32 * 4), ("reserved", ctypes.c_uint32)]


def picture():
    """1920 x 1080 with detail at every scale, which is about as hard to code as a photograph."""
    numbers = numpy.random.default_rng(1)
    result = numpy.zeros((1080, 1920, 2))
    for step in (64, 32, 16, 8, 4, 2, 1):
        coarse = numbers.normal(0, step**0.7, (1080 // step + 1, 1920 // step + 1, 2))
        result += coarse.repeat(step, 0).repeat(step, 1)[:1080, :1920]
    return numpy.clip(result + 128, 16, 235).astype(numpy.uint8)


class CCall:
    """ravelo_decode itself, with everything prepared."""

    def __init__(self, library, frame, shape, threads):
        self.frame, self.shape = frame, shape
        self.options = Options(struct_size=ctypes.sizeof(Options), max_threads=threads)
        self.output = Output(struct_size=ctypes.sizeof(Output))
        self.decode = library.ravelo_decode
        self.decode.argtypes = [ctypes.c_char_p, ctypes.c_uint64, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p]

    def into(self, address):
        self.output.memory = address
        self.output.memory_bytes = int(numpy.prod(self.shape))
        if self.decode(self.frame, len(self.frame), ctypes.byref(self.output), ctypes.byref(self.options), None) != 0:
            raise RuntimeError("the C call fails")


def seconds(call):
    start = time.perf_counter()
    call()
    return time.perf_counter() - start


def compare(text, one, other, rounds, limit):
    """The median ratio of `one` to `other`, taken in turn."""
    ratios, times = [], []
    for turn in range(rounds):
        pair = [seconds(call) for call in ((one, other) if turn % 2 else (other, one))]
        first, second = pair if turn % 2 else pair[::-1]
        ratios.append(first / second)
        times.append(second)
    ratio = statistics.median(ratios)
    print(f"{text}: {ratio:.3f} (limit {limit}; the other takes {statistics.median(times) * 1e3:.2f} ms)")


def scale(frame, shape, rounds):
    """Sixteen decodes with one thread each: all after one another, and by four threads of the interpreter."""
    outs = [numpy.empty(shape, numpy.uint8) for _ in range(4)]

    def share(out, count):
        for _ in range(count):
            ravelo.decode(frame, out, threads=1)

    with concurrent.futures.ThreadPoolExecutor(4) as threads:
        compare("one thread to four, sixteen frames",
                lambda: share(outs[0], 16),
                lambda: list(threads.map(lambda out: share(out, 4), outs)), rounds, "1.8 or more on two processors")


def copied_bytes(frame, out):
    """The most memory that Python and numpy hold at a time during a decode in place."""
    tracemalloc.start()
    ravelo.decode(frame, out)
    most = tracemalloc.get_traced_memory()[1]
    tracemalloc.stop()
    return most


def main():
    library, libc = ctypes.CDLL(sys.argv[1]), ctypes.CDLL(None)
    libc.malloc.restype = ctypes.c_void_p
    libc.malloc.argtypes = [ctypes.c_size_t]
    libc.free.argtypes = [ctypes.c_void_p]
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 301
    frame = ravelo.encode(picture(), bpp=4, threads=2)
    expected = ravelo.decode(frame)
    out = numpy.empty_like(expected)
    for threads in (1, 0):
        c_call = CCall(library, frame, expected.shape, threads)
        c_call.into(out.ctypes.data)
        if not numpy.array_equal(out, expected):
            raise RuntimeError("the C call gives other pixels")
        named = f"threads={threads}"
        compare(f"decode with out to the C call, {named}", lambda: ravelo.decode(frame, out, threads=threads),
                lambda: c_call.into(out.ctypes.data), rounds, 1.03)

        def with_memory():
            memory = libc.malloc(expected.nbytes)
            c_call.into(memory)
            libc.free(memory)

        compare(f"decode to a new array to malloc, C call and free, {named}",
                lambda: ravelo.decode(frame, threads=threads), with_memory, rounds, 1.03)
    print(f"memory of a decode with out: {copied_bytes(frame, out)} bytes of {out.nbytes} (limit {out.nbytes // 100})")
    scale(frame, expected.shape, max(3, rounds // 20))


main()
