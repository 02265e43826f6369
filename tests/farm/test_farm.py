"""ravelo.farm and the recipes of the guide, with real schedulers."""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import threading
import time

import numpy
import pytest

import ravelo
import ravelo.farm
from conftest import NUM_FRAMES, Cluster, pieces_of, wait_until

ALL = list(range(1, NUM_FRAMES + 1))


def outputs():
    return len(list(pathlib.Path().glob("out.*.png")))


def test_a_worker_that_dies_costs_nothing(shot, cluster, client, same_as_expected):
    killed_at = []

    def kill():
        wait_until(lambda: outputs() >= NUM_FRAMES // 2)
        cluster.kill_worker()
        killed_at.append(outputs())

    killer = threading.Thread(target=kill)
    killer.start()
    result = ravelo.farm.decode_sequence(shot / "shot.####.rvl", shot / "out.####.png", client)
    killer.join()
    assert NUM_FRAMES // 2 <= killed_at[0] < NUM_FRAMES * 3 // 4
    assert not result.failures and result.exit_code == 0
    # A range that is repeated finds some of its outputs.
    assert sorted({*result.values, *result.existing}) == ALL
    assert len(client.scheduler_info()["workers"]) == 2
    same_as_expected()


def test_a_job_resumes_and_reports_by_frame(shot, client, same_as_expected):
    (shot / "shot.0100.rvl").unlink()
    (shot / "shot.0200.rvl").unlink()
    (shot / "shot.0200.rvl").write_bytes(b"not a frame")
    cut = (shot / "shot.0250.rvl").read_bytes()
    (shot / "shot.0250.rvl").unlink()
    (shot / "shot.0250.rvl").write_bytes(cut[: len(cut) // 2])
    for number in (5, 6):
        subprocess.run(["ravelo", "decode", f"shot.{number:04}.rvl", "-o", f"out.{number:04}.png"], check=True)
    result = ravelo.farm.decode_sequence("shot.####.rvl", "out.####.png", client, missing="skip")
    assert result.missing == [100] and result.existing == [5, 6] and result.exit_code == 3
    assert list(result.failures) == [200] and "shot.0200.rvl" in result.failures[200]
    assert list(result.damaged) == [250] and result.damaged[250] > 0
    assert result.values[1] == "out.0001.png"
    again = ravelo.farm.decode_sequence("shot.####.rvl", "out.####.png", client, missing="skip")
    assert not again.values and len(again.existing) == NUM_FRAMES - 2 and list(again.failures) == [200]
    (shot / "out.0250.png").unlink()
    same_as_expected(but=(100, 200, 250))
    with pytest.raises(ValueError, match="huge"):
        ravelo.farm.decode_sequence("shot.####.rvl", "out.####.png", client, arguments=["--size", "huge"])
    nothing = ravelo.farm.decode_sequence("shot.####.rvl", "out.####.png", client, "200")
    assert nothing.exit_code == 1


def mean(picture, number):
    return number, float(picture.mean())


def test_a_function_is_called_for_every_frame(shot, client):
    (shot / "shot.0017.rvl").unlink()
    result = ravelo.farm.map_frames(mean, "shot.####.rvl", "1-40", client, chunk=7, size=8)
    assert sorted(result.values) == [number for number in range(1, 41) if number != 17] and result.missing == [17]
    assert list(result.failures) == [17] and "shot.0017.rvl" in result.failures[17] and result.exit_code == 3
    for number in (1, 40):
        picture = ravelo.decode((shot / f"shot.{number:04}.rvl").read_bytes(), size=8)
        assert result.values[number] == (number, picture.mean())


class KillsItsWorker:
    """Ends the worker that is given one frame, `times` times."""

    def __init__(self, number, times, folder):
        self.number, self.times, self.folder = number, times, folder

    def __call__(self, picture, number):
        if number == self.number:
            for mark in range(self.times):
                try:
                    (self.folder / f"killed.{mark}").touch(exist_ok=False)
                except FileExistsError:
                    continue
                os.kill(os.getpid(), signal.SIGKILL)
        return number


def test_a_range_whose_worker_died_is_repeated(shot, client):
    killer = KillsItsWorker(33, 1, shot)
    result = ravelo.farm.map_frames(killer, shot / "shot.####.rvl", "1-64", client, size=8)
    assert (shot / "killed.0").exists()
    assert sorted(result.values) == list(range(1, 65)) and not result.failures


def test_a_frame_that_kills_every_worker_costs_itself(shot, client):
    killer = KillsItsWorker(10, 1000, shot)
    result = ravelo.farm.map_frames(killer, shot / "shot.####.rvl", "1-24", client, chunk=4, size=8)
    assert list(result.failures) == [10] and "died" in result.failures[10]
    assert sorted(result.values) == [number for number in range(1, 25) if number != 10]


def test_an_array_is_computed_by_the_cluster(shot, client):
    array = ravelo.farm.sequence_array(shot / "shot.####.rvl", "1-30", size=4)
    assert array.shape == (30, 90, 160, 2) and array.chunks[0] == (1,) * 30 and array.dtype == numpy.uint8
    pictures = numpy.stack(list(ravelo.Sequence("shot.####.rvl", "1-30", size=4)))
    assert numpy.array_equal(array.compute(), pictures)
    assert (array[3:5, ::-1].max(axis=0).compute() == pictures[3:5, ::-1].max(axis=0)).all()
    (shot / "shot.0002.rvl").unlink()
    (shot / "shot.0002.rvl").write_bytes(ravelo.encode(numpy.zeros((64, 64, 2), numpy.uint8)))
    with pytest.raises(ValueError, match="shot.0002.rvl has the shape"):
        ravelo.farm.sequence_array(shot / "shot.####.rvl", "1-3", size=4).compute()
    with pytest.raises(ValueError, match="planar"):
        ravelo.farm.sequence_array(shot / "shot.####.rvl", form="planar")


def sleepy(picture, number):
    time.sleep(0.5)


def test_ctrl_c_ends_a_call_within_half_a_second(shot, client):
    timer = threading.Timer(1.0, os.kill, (os.getpid(), signal.SIGINT))
    timer.start()
    start = time.monotonic()
    with pytest.raises(KeyboardInterrupt):
        ravelo.farm.map_frames(sleepy, str(shot / "shot.####.rvl"), None, client, chunk=2, size=8)
    assert time.monotonic() - start < 1.0 + 0.5
    # What no worker had begun is forgotten.
    wait_until(lambda: not client.processing() or not any(client.processing().values()), 20)


def seconds_of(client, shot):
    for path in shot.glob("out.*"):
        path.unlink()
    start = time.monotonic()
    ravelo.farm.decode_sequence(shot / "shot.####.rvl", shot / "out.####.png", client, "1-80", chunk=5)
    return time.monotonic() - start


def test_two_workers_are_faster_than_one(shot, tmp_path_factory, capsys):
    """Prints by how much, the median of three rounds with each."""
    import distributed

    times = {1: [], 2: []}
    cluster = Cluster(tmp_path_factory.mktemp("growing"), num_workers=2)
    try:
        with distributed.Client(scheduler_file=str(cluster.file), timeout=30) as client:
            client.wait_for_workers(2, timeout=30)
            seconds_of(client, shot)
            workers = list(client.scheduler_info()["workers"])
            for _ in range(3):
                times[2].append(seconds_of(client, shot))
            client.retire_workers(workers[:1])
            for _ in range(3):
                times[1].append(seconds_of(client, shot))
    finally:
        cluster.stop()
    one, two = sorted(times[1])[1], sorted(times[2])[1]
    with capsys.disabled():
        print(f"\nscale-up from one worker to two: {one / two:.2f} ({one:.2f} s, {two:.2f} s)")
    assert one > two


def with_address(piece, client):
    address = client.scheduler.address
    assert "tcp://127.0.0.1:8786" in piece
    return piece.replace("tcp://127.0.0.1:8786", address)


@pytest.mark.parametrize("document", ("README.md", "docs/farm.md"))
def test_the_documents_lines_for_dask_run(shot, client, same_as_expected, document):
    first = next(piece for piece in pieces_of("python", document) if "decode_sequence" in piece)
    assert document != "README.md" or len(first.splitlines()) == 5
    pathlib.Path("host.py").write_text(with_address(first, client))
    client.run(os.chdir, os.getcwd())
    ended = subprocess.run([sys.executable, "host.py"], capture_output=True, text=True)
    assert ended.returncode == 0, ended.stderr
    same_as_expected()


def test_the_guides_other_lines_for_dask_run(shot, client):
    pieces = [piece for piece in pieces_of("python", "docs/farm.md") if "decode_sequence" not in piece]
    assert len(pieces) == 2
    client.run(os.chdir, os.getcwd())
    names = {"client": client, "ravelo": ravelo, "__name__": "guide"}
    for piece in pieces:
        exec(piece, names)
    assert sorted(names["result"].values) == list(range(1, 101))
    assert names["brightest"].shape == (180, 320)


def test_the_recipe_for_gnu_parallel(shot, same_as_expected):
    if shutil.which("parallel") is None:
        pytest.skip("there is no GNU parallel")
    recipe, = pieces_of("sh", "docs/farm.md")
    subprocess.run(["bash", "-eu", "-c", recipe], check=True)
    same_as_expected()
    # A bad frame is not tried again, and what exists is not made again.
    (shot / "shot.0040.rvl").unlink()
    (shot / "shot.0040.rvl").write_bytes(b"not a frame")
    (shot / "out.0040.png").unlink()
    before = (shot / "out.0041.png").stat().st_mtime_ns
    assert subprocess.run(["bash", "-eu", "-c", recipe]).returncode == 0
    assert (shot / "out.0041.png").stat().st_mtime_ns == before
    log = pathlib.Path("job.log").read_text().splitlines()[1:]
    assert len(log) == 19 and all(line.split("\t")[6] == "0" for line in log)
    same_as_expected(but=(40,))
    # A range without any result fails after three tries.
    for number in range(289, 301):
        (shot / f"shot.{number:04}.rvl").unlink()
        (shot / f"shot.{number:04}.rvl").write_bytes(b"not a frame")
        (shot / f"out.{number:04}.png").unlink()
    assert subprocess.run(["bash", "-eu", "-c", recipe]).returncode == 1


SLURM_CONFIGURATION = """
ClusterName=test
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={port}
SlurmdPort={other_port}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
CredType=cred/munge
SlurmUser=root
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
SchedulerType=sched/builtin
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
JobAcctGatherType=jobacct_gather/none
NodeName={host} NodeAddr=127.0.0.1 CPUs=2 State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP
"""


@pytest.fixture
def slurm(tmp_path_factory, monkeypatch):
    """A controller and a node, which need root."""
    if os.geteuid() != 0 or not all(map(shutil.which, ("munged", "slurmctld", "slurmd", "sbatch"))):
        pytest.skip("slurmctld, slurmd and munge are not installed, or this is not root")
    folder = tmp_path_factory.mktemp("slurm")
    folder.chmod(0o755)
    for parent in folder.parents[:3]:
        parent.chmod(0o755)
    for name in ("state", "spool"):
        (folder / name).mkdir()
    key = folder / "munge.key"
    key.write_bytes(os.urandom(128))
    key.chmod(0o600)
    host = os.uname().nodename.split(".")[0]
    port = 20000 + os.getpid() % 20000
    configuration = folder / "slurm.conf"
    configuration.write_text(SLURM_CONFIGURATION.format(folder=folder, host=host, port=port, other_port=port + 1))
    monkeypatch.setenv("SLURM_CONF", str(configuration))
    commands = (
        ["munged", "--force", "--foreground", f"--key-file={key}", f"--socket={folder}/munge.socket",
         f"--pid-file={folder}/munge.pid", f"--log-file={folder}/munge.log", f"--seed-file={folder}/munge.seed"],
        ["slurmctld", "-D", "-f", str(configuration)],
        ["slurmd", "-D", "-f", str(configuration), "-N", host],
    )
    processes = []
    try:
        for command in commands:
            log = open(folder / f"{command[0]}.out", "w")
            processes.append(subprocess.Popen(command, stdout=log, stderr=subprocess.STDOUT))
            wait_until((folder / "munge.socket").exists, 20)
        wait_until(lambda: "idle" in subprocess.run(["sinfo"], capture_output=True, text=True).stdout, 30)
        yield
    finally:
        for process in reversed(processes):
            process.terminate()
            process.wait()


def test_the_recipe_for_slurm(shot, slurm, same_as_expected):
    recipe, = pieces_of("slurm", "docs/farm.md")
    pathlib.Path("shot.sbatch").write_text(recipe)
    assert subprocess.run(["sbatch", "--wait", "shot.sbatch"], timeout=200).returncode == 0
    same_as_expected()
    (shot / "shot.0040.rvl").unlink()
    (shot / "shot.0040.rvl").write_bytes(b"not a frame")
    (shot / "out.0040.png").unlink()
    (shot / "out.0300.png").unlink()
    before = (shot / "out.0041.png").stat().st_mtime_ns
    assert subprocess.run(["sbatch", "--wait", "shot.sbatch"], timeout=200).returncode == 3
    assert (shot / "out.0041.png").stat().st_mtime_ns == before
    assert "shot.0040.rvl" in pathlib.Path("shot.1.json").read_text()
    same_as_expected(but=(40,))
