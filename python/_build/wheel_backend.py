"""A build backend of the standard library alone, so that `pip install ./python`
works without an index: pip's isolated build needs nothing it would fetch.

It builds the pure-Python wheel of the package from pyproject.toml's [project]
table (name, version, summary, Python and numpy requirements, the console
script) and nothing else: no sdist, no compiled code.
"""
import base64
import hashlib
import os
import tomllib
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]


def _project():
    with open(ROOT / "pyproject.toml", "rb") as f:
        return tomllib.load(f)["project"]


def _metadata(project):
    lines = ["Metadata-Version: 2.1", f"Name: {project['name']}", f"Version: {project['version']}",
             f"Summary: {project['description']}", f"Requires-Python: {project['requires-python']}"]
    lines += [f"Requires-Dist: {d}" for d in project.get("dependencies", [])]
    for extra, deps in project.get("optional-dependencies", {}).items():
        lines.append(f"Provides-Extra: {extra}")
        lines += [f'Requires-Dist: {d}; extra == "{extra}"' for d in deps]
    return "\n".join(lines) + "\n"


def _entry_points(project):
    scripts = project.get("scripts", {})
    return "[console_scripts]\n" + "".join(f"{k} = {v}\n" for k, v in scripts.items())


def _record_line(name, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(data)}\n"


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    project = _project()
    tag = f"{project['name']}-{project['version']}"
    info = f"{tag}.dist-info"
    files = {}
    for path in sorted((ROOT / project["name"]).glob("*.py")):
        files[f"{project['name']}/{path.name}"] = path.read_bytes()
    files[f"{info}/METADATA"] = _metadata(project).encode()
    files[f"{info}/WHEEL"] = b"Wheel-Version: 1.0\nGenerator: wheel_backend\nRoot-Is-Purelib: true\nTag: py3-none-any\n"
    files[f"{info}/entry_points.txt"] = _entry_points(project).encode()
    record = "".join(_record_line(name, data) for name, data in files.items()) + f"{info}/RECORD,,\n"
    files[f"{info}/RECORD"] = record.encode()
    wheel = f"{tag}-py3-none-any.whl"
    with zipfile.ZipFile(os.path.join(wheel_directory, wheel), "w", zipfile.ZIP_DEFLATED) as z:
        for name, data in files.items():
            z.writestr(name, data)
    return wheel
