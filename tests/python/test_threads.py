"""Threads of the interpreter and signals during decodes and encodes."""

import os
import signal
import threading
import time

import numpy
import pytest

import ravelo
from conftest import noise


class Alarm(Exception):
    pass


@pytest.fixture
def alarms():
    """Signals from now on, whose handler counts them and may raise."""
    count = []

    def start(interval, raises):
        def ring(number, frame):
            count.append(number)
            if raises:
                raise Alarm

        signal.signal(signal.SIGALRM, ring)
        signal.setitimer(signal.ITIMER_REAL, interval, 0 if raises else interval)
        return count

    previous = signal.getsignal(signal.SIGALRM)
    yield start
    signal.setitimer(signal.ITIMER_REAL, 0)
    signal.signal(signal.SIGALRM, previous)


def assert_an_alarm_ends(call, alarms):
    """An alarm after a quarter of the call's time ends it within half a second and long before its own end."""

    def duration():
        start = time.monotonic()
        call()
        return time.monotonic() - start

    whole = min(duration() for _ in range(2))  # a first call may be held up, and the alarm then come too late
    seconds = []
    for _ in range(3):  # of which one is not held up, however busy the machine is
        alarms(whole / 4, True)
        start = time.monotonic()
        with pytest.raises(Alarm):
            call()
        seconds.append(time.monotonic() - start - whole / 4)
    assert min(seconds) < min(0.5, whole / 4)


def test_a_signal_stops_a_long_decode_if_its_handler_raises(long_frame, alarms):
    count = alarms(0.01, False)
    picture = ravelo.decode(long_frame, threads=1, size=4)
    assert len(count) > 3 and numpy.array_equal(picture[:4], picture[-4:])
    assert_an_alarm_ends(lambda: ravelo.decode(long_frame, threads=1, size=4), alarms)


def test_a_signal_stops_a_long_encode(alarms):
    picture = noise((1800, 1800, 2))
    assert_an_alarm_ends(lambda: ravelo.encode(picture, bpp=12, threads=1), alarms)


def test_the_interpreter_runs_during_a_decode(long_frame):
    ended = []
    thread = threading.Thread(target=lambda: (ravelo.decode(long_frame, size=4, threads=1), ended.append(1)))
    thread.start()
    turns = 0
    while not ended and turns < 20:
        time.sleep(0.001)
        turns += 1
    assert turns == 20 and not ended
    thread.join()


def test_threads_decode_the_same_frame_at_once():
    frame = ravelo.encode(noise((160, 200, 2)), q=2)
    expected = ravelo.decode(frame)
    wrong = []

    def decode():
        for _ in range(30):
            if not numpy.array_equal(ravelo.decode(frame), expected):
                wrong.append(1)

    threads = [threading.Thread(target=decode) for _ in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not wrong


def test_a_child_of_a_fork_decodes(long_frame):
    small = ravelo.encode(noise((64, 64, 2)))
    expected = ravelo.decode(small)
    child = os.fork()
    if child == 0:
        is_equal = numpy.array_equal(ravelo.decode(small), expected)
        ravelo.decode(long_frame, size=4, region=(0, 0, 64, 64))
        os._exit(0 if is_equal else 1)
    assert os.waitpid(child, 0)[1] == 0
