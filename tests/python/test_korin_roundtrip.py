"""A raw volume converted by korin reads back exactly through readBox."""
import numpy as np

CONVERT = """
lassign $argv out raw nx ny nz
set c [create UxConvertToDiskData]
$c forceKorin311Format 1
if {[$c convertToDiskData -format "Raw Data" -lda $out -dims $nx $ny $nz -ptype uint16 -ndatavar 1 \\
     -header 0 -endianess little -bbox 0 1 0 1 0 1 $raw] != 1} { exit 1 }
set d [load $out.km]
$d readBox $out.box 0 0 0 $nx $ny $nz 1 1 1
"""


def test_readbox_returns_what_was_converted(korin, tmp_path):
    volume = np.random.default_rng(7).integers(0, 65535, size=(9, 37, 70), dtype="<u2")
    (tmp_path / "in.raw").write_bytes(volume.tobytes())
    korin(CONVERT, tmp_path / "set", tmp_path / "in.raw", 70, 37, 9)
    back = np.fromfile(tmp_path / "set.box", dtype="<u2").reshape(volume.shape)
    np.testing.assert_array_equal(back, volume)


def test_pip_installs_the_package_without_an_index(tmp_path):
    import subprocess
    import sys
    from pathlib import Path
    subprocess.run([sys.executable, "-m", "venv", "--system-site-packages", tmp_path / "env"], check=True)
    source = Path(__file__).resolve().parents[2] / "python"
    subprocess.run([tmp_path / "env/bin/pip", "install", "-q", "--no-index", source], check=True,
                   env={"PATH": "/usr/bin:/bin", "HOME": str(tmp_path)})
    done = subprocess.run([tmp_path / "env/bin/uxdiskdata", "--help"], capture_output=True, text=True)
    assert done.returncode == 0 and "info" in done.stdout
