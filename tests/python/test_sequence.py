"""Sequences of numbered files."""

import itertools
import pathlib
import signal
import subprocess
import sys
import threading
import time

import numpy
import pytest

import ravelo
from conftest import frame_named
from ravelo._sequence import Pattern, format_numbers, parse_numbers


@pytest.fixture(scope="module")
def shot(tmp_path_factory):
    """Files 3 to 20 without 7 and 12, each with a grey of its own."""
    folder = tmp_path_factory.mktemp("shot")
    for number in range(3, 21):
        if number not in (7, 12):
            picture = numpy.full((64, 96, 2), 40 + 10 * number, numpy.uint8)
            (folder / f"shot.{number:04}.rvl").write_bytes(ravelo.encode(picture))
    return folder


def grey(number):
    return 40 + 10 * number


def numbers_shown(pictures):
    return [round((float(picture[..., 1].mean()) - 40) / 10) for picture in pictures]


@pytest.mark.parametrize("pattern, name", [
    ("shot.%04d.rvl", "shot.0007.rvl"), ("shot.####.rvl", "shot.0007.rvl"), ("shot.@@@@.rvl", "shot.0007.rvl"),
    ("shot.$F4.rvl", "shot.0007.rvl"), ("shot.$F.rvl", "shot.7.rvl"), ("shot.#.rvl", "shot.7.rvl"),
    ("shot.%d.rvl", "shot.7.rvl"), ("a#b#.rvl", "a#b7.rvl"), ("#/v2.##.rvl", "#/v2.07.rvl"), ("%03d.#.rvl", "007.#.rvl"),
    ("$F2#.rvl", "07#.rvl"), ("shot.1-9x2####.rvl", "shot.0007.rvl"), ("shot2###", "shot2007"), ("%x%02d", "%x07"),
])
def test_patterns_name_files(pattern, name):
    assert Pattern(pattern).path(7) == name
    assert Pattern(pattern).number_of(name) == 7


def test_patterns_and_lists_that_are_wrong():
    for pattern in ("shot.rvl", "####/shot.rvl", "shot.%s.rvl", "%0d.rvl", ""):
        with pytest.raises(ValueError, match="no place for a number"):
            Pattern(pattern)
    for text in ("", "1-", "a", "3-1", "1-9x0", "1,,2", "-5", "1-20000000", "1x2"):
        with pytest.raises(ValueError, match="frames"):
            parse_numbers(text)
    assert parse_numbers("1-10x3,20,7") == [1, 4, 7, 10, 20, 7]
    assert format_numbers([1, 2, 3, 7, 9, 10]) == "1-3,7,9-10"
    assert Pattern("shot.1-9x4,20####.rvl").listed == [1, 5, 9, 20]
    for name in ("shot.007.rvl", "shot.00007.rvl", "shot.-007.rvl", "shot..rvl", "shot.rvl", "other.0007.rvl"):
        assert Pattern("shot.####.rvl").number_of(name) is None
    assert Pattern("shot.####.rvl").number_of("shot.12345.rvl") == 12345


@pytest.mark.parametrize("pattern", ["seq.####.rvl", "seq.%04d.rvl", "seq.$F4.rvl", "seq.#.rvl", "seq.2-4###.rvl"])
def test_the_command_understands_the_same_names(command, tmp_path, monkeypatch, pattern):
    frame = frame_named("422_one_pixel")
    names = Pattern(pattern)
    for number in range(1, 6):
        pathlib.Path(tmp_path, names.path(number)).write_bytes(frame)
    pathlib.Path(tmp_path, "seq.x.rvl").write_bytes(b"")
    output = subprocess.run([command, "info", pattern], cwd=tmp_path, check=True, capture_output=True, text=True).stdout
    monkeypatch.chdir(tmp_path)
    found = [name for name in map(names.path, ravelo.Sequence(pattern).numbers) if name in output]
    assert len(found) == output.count("seq.") == (3 if "2-4" in pattern else 5)


def test_numbers_run_from_the_first_file_to_the_last(shot):
    sequence = ravelo.Sequence(shot / "shot.####.rvl")
    assert sequence.numbers == list(range(3, 21)) and sequence.missing == [7, 12] and len(sequence) == 18
    assert ravelo.Sequence(f"{shot}/shot.1-9x2####.rvl").numbers == [1, 3, 5, 7, 9]
    assert ravelo.Sequence(f"{shot}/shot.1-9####.rvl", range(4, 6)).numbers == [4, 5]
    assert sequence.info(0).width == 96
    with pytest.raises(FileNotFoundError, match="no file"):
        ravelo.Sequence(shot / "none.####.rvl")
    for arguments in ({"missing": "black"}, {"in_flight": -1}, {"size": 3}, {"frames": [-1]}):
        with pytest.raises(ValueError):
            ravelo.Sequence(shot / "shot.####.rvl", **arguments)


def test_frames_are_found_by_position(shot):
    sequence = ravelo.Sequence(shot / "shot.####.rvl", size=2)
    assert sequence[0].shape == (32, 48, 2)
    assert numbers_shown([sequence[0], sequence[-1], sequence[3]]) == [3, 20, 6]
    part = sequence[1:4]
    assert part.numbers == [4, 5, 6] and part.missing == [] and numbers_shown(part) == [4, 5, 6]
    assert sequence[::-3].numbers == [20, 17, 14, 11, 8, 5] and sequence[3:6].missing == [7]
    with pytest.raises(IndexError):
        sequence[18]
    with pytest.raises(FileNotFoundError, match="shot.0007.rvl"):
        sequence[4]


@pytest.mark.parametrize("in_flight", (0, 1, 2, 7, 40))
def test_an_iteration_gives_all_frames_in_order(shot, in_flight):
    for missing, expected in (("skip", [n for n in range(3, 21) if n not in (7, 12)]),
                              ("hold", [*range(3, 7), 6, *range(8, 12), 11, *range(13, 21)])):
        sequence = ravelo.Sequence(shot / "shot.####.rvl", missing=missing, in_flight=in_flight)
        assert numbers_shown(sequence) == expected and sequence.missing == [7, 12]
        assert numbers_shown(reversed(sequence)) == expected[::-1]
    before = ravelo.Sequence(shot / "shot.####.rvl", "1-3", missing="hold", in_flight=in_flight)
    assert numbers_shown(before) == [3, 3, 3]


def test_frames_before_a_bad_one_are_delivered(shot):
    given = []
    with pytest.raises(FileNotFoundError, match="shot.0007.rvl"):
        for picture in ravelo.Sequence(shot / "shot.####.rvl", in_flight=8):
            given.append(picture)
    assert numbers_shown(given) == [3, 4, 5, 6]
    (shot / "bad.1.rvl").write_bytes(b"short")
    with pytest.raises(ravelo.Error, match="bad.1.rvl: .*5 bytes"):
        list(ravelo.Sequence(shot / "bad.#.rvl"))


def test_an_iteration_that_ends_early_leaves_no_threads(shot):
    def threads():
        return [thread for thread in threading.enumerate() if thread.name.startswith("ravelo-sequence")]

    for picture in itertools.islice(ravelo.Sequence(shot / "shot.####.rvl", in_flight=4), 2):
        assert threads()
    end = time.monotonic() + 5
    while threads() and time.monotonic() < end:
        time.sleep(0.01)
    assert not threads()


def test_ctrl_c_ends_a_program_within_half_a_second(long_frame, tmp_path):
    (tmp_path / "long.0.rvl").write_bytes(long_frame)
    for number in range(1, 200):
        (tmp_path / f"long.{number}.rvl").hardlink_to(tmp_path / "long.0.rvl")
    script = ("import ravelo, sys\nprint('begin', flush=True)\nfor picture in ravelo.Sequence(sys.argv[1], size=4): pass\n")
    seconds = []
    # A machine that does something else as well delays a process; one of three is not delayed.
    while len(seconds) < 3 and not any(duration < 0.5 for duration in seconds):
        child = subprocess.Popen([sys.executable, "-c", script, tmp_path / "long.#.rvl"], stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, text=True)
        assert child.stdout.readline() == "begin\n"
        time.sleep(0.4)
        start = time.monotonic()
        child.send_signal(signal.SIGINT)
        errors = child.communicate()[1]
        seconds.append(time.monotonic() - start)
        assert "KeyboardInterrupt" in errors and child.returncode == -signal.SIGINT
    assert min(seconds) < 0.5
