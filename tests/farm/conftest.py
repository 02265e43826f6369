"""A cluster of processes on the loopback address, and a sequence of 300 frames."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time

import numpy
import pytest

import ravelo

ROOT = pathlib.Path(__file__).resolve().parents[2]
NUM_FRAMES = 300


def pieces_of(language, document):
    text = (ROOT / document).read_text()
    return re.findall(rf"^```{language}\n(.*?)^```", text, re.MULTILINE | re.DOTALL)


@pytest.fixture(scope="session")
def frames(tmp_path_factory):
    """A folder with shot.0001.rvl to shot.0300.rvl."""
    folder = tmp_path_factory.mktemp("frames")
    numbers = numpy.random.default_rng(1)
    for number in range(1, NUM_FRAMES + 1):
        path = folder / f"shot.{number:04}.rvl"
        if number > 20:
            path.hardlink_to(folder / f"shot.{number % 20 + 1:04}.rvl")
            continue
        picture = numbers.integers(16, 236, (360, 640, 2), numpy.uint8)
        path.write_bytes(ravelo.encode(picture, q=8, threads=2))
    return folder


@pytest.fixture
def shot(frames, tmp_path, monkeypatch):
    """The frames in a folder of the test's own, which is the current one."""
    for path in frames.iterdir():
        (tmp_path / path.name).hardlink_to(path)
    monkeypatch.chdir(tmp_path)
    return tmp_path


@pytest.fixture(scope="session")
def expected(frames, tmp_path_factory):
    """What a single machine makes of the frames."""
    folder = tmp_path_factory.mktemp("expected")
    subprocess.run(["ravelo", "decode", "shot.####.rvl", "-o", folder / "out.####.png", "--quiet"], cwd=frames, check=True)
    return folder


@pytest.fixture
def same_as_expected(expected, shot):
    def check(but=()):
        numbers = [number for number in range(1, NUM_FRAMES + 1) if number not in but]
        names = [f"out.{number:04}.png" for number in numbers]
        assert sorted(path.name for path in shot.glob("out.*")) == names
        for name in names:
            assert (shot / name).read_bytes() == (expected / name).read_bytes(), name
        assert not list(shot.glob(".ravelo.*.part"))

    return check


class Cluster:
    """A scheduler and workers, each a process group of its own."""

    def __init__(self, folder, address="tcp://127.0.0.1:0", num_workers=3):
        self.file = folder / "scheduler.json"
        # Workers import the functions that they are given.
        modules = f"{os.environ.get('PYTHONPATH', '')}:{pathlib.Path(__file__).parent}"
        self.environment = dict(os.environ, DASK_DISTRIBUTED__SCHEDULER__ALLOWED_FAILURES="1", PYTHONPATH=modules)
        self.groups = []
        self.workers = []
        self._start("distributed.cli.dask_scheduler", "--host", address, "--no-dashboard",
                    "--scheduler-file", str(self.file))
        for _ in range(num_workers):
            self.add_worker()

    def _start(self, module, *arguments):
        process = subprocess.Popen([sys.executable, "-m", module, *arguments], env=self.environment,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
        self.groups.append(process)
        return process

    def add_worker(self):
        self.workers.append(self._start("distributed.cli.dask_worker", "--scheduler-file", str(self.file),
                                        "--nthreads", "1", "--no-dashboard", "--host", "127.0.0.1"))

    def kill_worker(self):
        """With the process that would start it again."""
        os.killpg(self.workers.pop().pid, signal.SIGKILL)

    def stop(self):
        for process in self.groups:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()


@pytest.fixture
def cluster(tmp_path_factory):
    cluster = Cluster(tmp_path_factory.mktemp("cluster"))
    yield cluster
    cluster.stop()


@pytest.fixture
def client(cluster):
    import distributed

    with distributed.Client(scheduler_file=str(cluster.file), timeout=30) as client:
        client.wait_for_workers(3, timeout=30)
        yield client


def wait_until(condition, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < end, "nothing happened"
        time.sleep(0.01)
