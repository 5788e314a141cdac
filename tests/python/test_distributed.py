"""Beyond one machine: dask arrays of sets and stores, and conversions spread over the
workers of a dask.distributed cluster, byte for byte as the host's converter writes them."""
import os
import signal
import subprocess
import sys
import time

import numpy as np
import pytest

import uxdiskdata
from lda_support import CONVERT, volume_of

distributed = pytest.importorskip("distributed")
BUILD = os.environ.get("KORIN_BUILD_DIR", "build")


def files_of(store):
    """Every file of a store by its path inside it; the image's name is the output's, so stores are
    compared under the same name in different folders."""
    return {str(p.relative_to(store)): p.read_bytes() for p in sorted(store.rglob("*")) if p.is_file()}


def convert_cli(tmp_path, folder, volume, *options, wait=True):
    z, y, x = volume.shape
    (tmp_path / "in.raw").write_bytes(volume.astype("<u2").tobytes()) if not (tmp_path / "in.raw").exists() else None
    (tmp_path / folder).mkdir(exist_ok=True)
    command = [sys.executable, "-m", "uxdiskdata", "convert", "--dims", str(x), str(y), str(z), "--type", "uint16",
               "--tile", "16", *options, str(tmp_path / "in.raw"), str(tmp_path / folder / "vol.lda")]
    env = dict(os.environ, KORIN=os.path.join(BUILD, "korin"))
    if not wait:
        return subprocess.Popen(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    return subprocess.run(command, env=env, capture_output=True, text=True, timeout=600)


@pytest.fixture(scope="module")
def cluster():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as local:
        with distributed.Client(local) as client:
            yield local, client


def test_sets_and_stores_as_dask_arrays_also_on_a_cluster(korin, tmp_path, cluster):
    volume = volume_of(np.dtype("u2"), (20, 37, 45), seed=2)
    (tmp_path / "in.raw").write_bytes(volume.tobytes())
    korin("omeZarrVersion 0.5\n" + CONVERT, tmp_path / "store", "Raw Data", 8, "zstd", 1, "-dims", 45, 37, 20,
          "-ptype", "uint16", "-ndatavar", 1, "-header", 0, "-endianess", "little", "-bbox", 0, 1, 0, 1, 0, 1,
          tmp_path / "in.raw")
    korin("set c [create UxConvertToDiskData]; $c forceKorin311Format 1\n"
          "$c convertToDiskData -format {Raw Data} -lda [lindex $argv 0] -dims 45 37 20 -ptype uint16 -ndatavar 1 "
          "-header 0 -endianess little -bbox 0 1 0 1 0 1 [lindex $argv 1]", tmp_path / "set", tmp_path / "in.raw")
    for path in (tmp_path / "store.lda", tmp_path / "set.km"):
        s = uxdiskdata.open(path)
        for level in range(s.levels):
            array = s.level(level).to_dask()
            assert array.numblocks and array.shape == s.level(level).shape
            want = np.asarray(s.level(level))
            np.testing.assert_array_equal(array.compute(scheduler="threads"), want)
            np.testing.assert_array_equal(cluster[1].compute(array).result(), want)


def test_a_conversion_on_two_workers_is_the_host_converters_byte_for_byte(korin, tmp_path):
    volume = volume_of(np.dtype("u2"), (40, 70, 90), seed=5)
    one = convert_cli(tmp_path, "one", volume, "--border", "3")
    two = convert_cli(tmp_path, "two", volume, "--border", "3", "--workers", "2")
    assert one.returncode == 0 and two.returncode == 0, one.stderr + two.stderr
    (tmp_path / "host").mkdir()
    korin("omeZarrVersion 0.5\n" + CONVERT, tmp_path / "host" / "vol", "Raw Data", 16, "zstd", 1, "-dims", 90, 70,
          40, "-ptype", "uint16", "-ndatavar", 1, "-header", 0, "-endianess", "little", "-bbox", 0, 89, 0, 69, 0, 39,
          tmp_path / "in.raw")
    reference = files_of(tmp_path / "host" / "vol.lda")
    assert files_of(tmp_path / "one" / "vol.lda") == reference
    assert files_of(tmp_path / "two" / "vol.lda") == reference
    assert sorted(os.listdir(tmp_path / "two")) == ["vol.lda"]


def test_a_failed_task_fails_the_conversion_and_leaves_no_store(tmp_path):
    volume = volume_of(np.dtype("u2"), (6, 20, 20), seed=1)
    (tmp_path / "in.raw").write_bytes(volume.tobytes()[:-2])  # a sample short
    done = convert_cli(tmp_path, "out", volume, "--workers", "2")
    assert done.returncode == 1 and "holds 4798 bytes" in done.stderr, done.stderr
    assert os.listdir(tmp_path / "out") == []


def test_a_worker_killed_midway_is_retried_or_fails_cleanly(tmp_path, cluster):
    local, client = cluster
    volume = volume_of(np.dtype("u2"), (128, 256, 256), seed=4)
    reference = convert_cli(tmp_path, "reference", volume)
    assert reference.returncode == 0, reference.stderr
    running = convert_cli(tmp_path, "out", volume, "--scheduler", local.scheduler_address, wait=False)
    pids = list(client.run(os.getpid).values())
    deadline = time.monotonic() + 60
    while not any(p.name.endswith(".writing") or ".writing-" in p.name for p in (tmp_path / "out").iterdir()):
        assert time.monotonic() < deadline and running.poll() is None, running.communicate()
        time.sleep(0.05)
    time.sleep(0.3)
    os.kill(pids[0], signal.SIGKILL)
    assert running.poll() is None, "the conversion ended before a worker could be killed"
    _, stderr = running.communicate(timeout=600)
    if running.returncode == 0:
        assert files_of(tmp_path / "out" / "vol.lda") == files_of(tmp_path / "reference" / "vol.lda")
        assert sorted(os.listdir(tmp_path / "out")) == ["vol.lda"]
    else:
        assert running.returncode == 1 and stderr, stderr
        assert os.listdir(tmp_path / "out") == []


def test_ctrl_c_cancels_the_tasks_and_removes_the_partial_store(tmp_path):
    volume = volume_of(np.dtype("u2"), (96, 160, 160), seed=4)
    running = convert_cli(tmp_path, "out", volume, "--workers", "2", wait=False)
    deadline = time.monotonic() + 60
    while not any(".writing-" in p.name for p in (tmp_path / "out").iterdir()):
        assert time.monotonic() < deadline and running.poll() is None, running.communicate()
        time.sleep(0.05)
    running.send_signal(signal.SIGINT)
    _, stderr = running.communicate(timeout=120)
    assert running.returncode == 130 and "Interrupted" in stderr, stderr
    assert os.listdir(tmp_path / "out") == []
