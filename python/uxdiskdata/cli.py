"""python -m uxdiskdata info PATH | export PATH OUT.zarr | convert ... INPUT... OUTPUT.lda"""
import argparse
import sys

from . import open as open_set
from .convert import add_arguments as add_convert_arguments
from .convert import check_arguments as check_convert_arguments
from .convert import convert
from .errors import DiskDataError


def info(dataset):
    print(f"{dataset.path}")
    print(f"shape (z, y, x{', components' if dataset.ndim == 4 else ''}): {dataset.shape}")
    print(f"type: {dataset.type_name}")
    print(f"levels: {dataset.levels}")
    print("bounding box: " + " ".join(repr(float(v)).removesuffix(".0") for v in dataset.bounding_box))
    for level in range(dataset.levels):
        current, total = dataset.current_blocks(level)
        print(f"level {level}: {dataset.level(level).shape}, {current} of {total} blocks current")


def export(dataset, out):
    try:
        from .zarrexport import export as write
        import zarr  # noqa: F401
    except ImportError:
        print("export needs zarr-python, which is not installed (Debian: apt install python3-zarr)",
              file=sys.stderr)
        return 1
    write(dataset, out)
    print(f"wrote {out}")
    return 0


def main(argv=None):
    parser = argparse.ArgumentParser(prog="python -m uxdiskdata",
                                     description="Look into disk-data sets without the host.")
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("info", help="shape, type, levels and current blocks").add_argument("path")
    exporter = commands.add_parser("export", help="write the set as an OME-Zarr image (needs zarr)")
    exporter.add_argument("path")
    exporter.add_argument("out")
    converter = commands.add_parser("convert", help="convert raw or TIFF input into an lda store, on a dask "
                                    "cluster if asked (needs korin, and python3-distributed for a cluster)")
    add_convert_arguments(converter)
    args = parser.parse_args(argv)
    if args.command == "convert":
        check_convert_arguments(converter, args)
        return convert(args)
    try:
        with open_set(args.path) as dataset:
            if args.command == "info":
                info(dataset)
                return 0
            return export(dataset, args.out)
    except DiskDataError as error:
        print(f"error: {error}", file=sys.stderr)
        return 1
