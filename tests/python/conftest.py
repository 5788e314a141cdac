"""Shared fixtures: the korin shell of the build under test, run as a child process."""
import os
import subprocess
from pathlib import Path

import pytest

BUILD_DIR = Path(os.environ.get("KORIN_BUILD_DIR", Path(__file__).resolve().parents[2] / "build"))


@pytest.fixture
def korin(tmp_path):
    """Runs a Tcl script in korin: korin(script, *args) -> CompletedProcess (text)."""
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen")

    def run(script, *args, check=True):
        path = tmp_path / "script.tcl"
        path.write_text(script)
        done = subprocess.run([str(BUILD_DIR / "korin"), str(path), *map(str, args)],
                              capture_output=True, text=True, env=env, timeout=600)
        if check and done.returncode != 0:
            raise AssertionError(f"korin failed ({done.returncode}):\n{done.stdout}\n{done.stderr}")
        return done

    return run
