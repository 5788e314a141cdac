"""A raw volume or a TIFF stack converted into an lda store (OME-Zarr 0.5, sharded) by
the host's converter, in one process or spread over the workers of a dask.distributed
cluster.

The work is the host's: every step runs `korin` (found as $KORIN, or on the PATH),
through its `ldaJob` command. On a cluster, the store is planned in columns of whole
shards; each column of a pass is a task that converts it with the host's code; a
pass starts when the one before has ended (coarse levels are built from the level
below as stored), and the top levels are one task. The store comes out byte for byte
as one process writes it. Workers need the input, the output's folder and `korin` at
the same paths (a shared file system).

A failed task fails the conversion with its message; Ctrl-C cancels the tasks; either
way the partial store is removed and nothing is left under the output's name.
"""
import json
import os
import shutil
import subprocess
import sys
import time
import uuid

TYPES = ("uint8", "int16", "uint16", "int32", "float", "double")
INTERRUPTED = 130


class ConversionError(RuntimeError):
    """A step of the conversion failed; the message is korin's."""


def find_korin():
    korin = os.environ.get("KORIN") or shutil.which("korin")
    if not korin or not os.access(korin, os.X_OK):
        raise ConversionError("convert needs the host shell korin: set KORIN=/path/to/korin or put it on the PATH")
    return os.path.abspath(korin)


def run_korin(korin, script, quiet=True):
    """Runs a korin script; raises ConversionError with what korin said when it fails."""
    command = [korin] + (["-q"] if quiet else []) + ["-e", script]
    env = dict(os.environ, QT_QPA_PLATFORM=os.environ.get("QT_QPA_PLATFORM", "offscreen"))
    done = subprocess.run(command, capture_output=True, text=True, env=env)
    if done.returncode != 0:
        said = "\n".join(line for line in (done.stdout + done.stderr).splitlines() if line.strip())
        raise ConversionError(said or f"korin ended with status {done.returncode}")
    return done.stdout


def column_task(korin, job, plan, pass_index, column):
    """One column of one pass, where a dask worker runs it."""
    run_korin(korin, f"ldaJob column {{{job}}} {{{plan}}} {pass_index} {column}")
    return pass_index, column


def job_description(args, output, folder):
    tiff = all(f.lower().endswith((".tif", ".tiff")) for f in args.inputs)
    if tiff:
        source = {"kind": "images", "files": [os.path.abspath(f) for f in args.inputs], "channel": 2}
    else:
        source = {"kind": "raw", "files": [os.path.abspath(f) for f in args.inputs], "dims": args.dims,
                  "type": args.type, "components": args.components, "header": args.header,
                  "byteOrder": "big" if args.big_endian else "little"}
    return {"output": output, "folder": folder, "input": source, "tile": args.tile, "border": args.border, "sampling": 1,
            "compressor": args.compressor, "omeZarr": "0.5", "tasks": max(1, 4 * args.task_slots)}


class Progress:
    """"Converting NAME.lda: 42% (about 1 min left)", at most every 3 s, then "done in"."""

    def __init__(self, name):
        self.name = name
        self.start = self.shown = time.monotonic()  # nothing shown in the first seconds

    def show(self, fraction):
        now = time.monotonic()
        if now - self.shown < 3 and fraction < 1:
            return
        self.shown = now
        spent = now - self.start
        left = f" (about {int(spent / fraction * (1 - fraction)) + 1} s left)" if 0 < fraction < 1 else ""
        print(f"Converting {self.name}: {int(fraction * 100)}%{left}", flush=True)

    def done(self):
        print(f"Converting {self.name}: done in {time.monotonic() - self.start:.1f} s", flush=True)


def run_on_cluster(client, korin, job_file, plan_file, progress):
    plan = json.load(open(plan_file))["passes"]
    total = sum(p["columns"] for p in plan)
    finished = 0
    from distributed import as_completed
    for index, stage in enumerate(plan):
        futures = [client.submit(column_task, korin, job_file, plan_file, index, column, pure=False)
                   for column in range(stage["columns"])]
        try:
            for future in as_completed(futures):
                future.result()
                finished += 1
                progress.show(finished / total)
        except BaseException:
            client.cancel(futures)
            raise


def make_client(args):
    from distributed import Client, LocalCluster
    if args.scheduler:
        return Client(args.scheduler), None
    cluster = LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True, dashboard_address=None)
    return Client(cluster), cluster


def convert(args):
    """0 done, 1 failed (a message on standard error), 130 interrupted."""
    output = os.path.abspath(args.output)
    if not output.endswith(".lda"):
        output += ".lda"
    if os.path.exists(output) and not args.overwrite:
        print(f"error: {output} exists; give --overwrite to replace it", file=sys.stderr)
        return 1
    token = uuid.uuid4().hex[:12]
    folder, work = f"{output}.writing-{token}", f"{output}.job-{token}"
    name = os.path.basename(output)
    client = cluster = None
    try:
        korin = find_korin()
        os.makedirs(work)
        job_file, plan_file = os.path.join(work, "job.json"), os.path.join(work, "plan.json")
        with open(job_file, "w") as file:
            json.dump(job_description(args, output, folder), file)
        replace = " replace" if args.overwrite else ""
        progress = Progress(name)
        if not (args.scheduler or args.workers):
            run_korin(korin, f"ldaJob run {{{job_file}}}{replace}", quiet=False)
        else:
            client, cluster = make_client(args)
            run_korin(korin, f"ldaJob prepare {{{job_file}}} {{{plan_file}}}")
            run_on_cluster(client, korin, job_file, plan_file, progress)
            run_korin(korin, f"ldaJob commit {{{job_file}}}{replace}")
        progress.done()
        return 0
    except KeyboardInterrupt:
        print("Interrupted", file=sys.stderr)
        return INTERRUPTED
    except ConversionError as error:
        print(f"error: {error}", file=sys.stderr)
        return 1
    except Exception as error:  # a task that died with its worker, a scheduler that cannot be reached
        print(f"error: {error}", file=sys.stderr)
        return 1
    finally:
        if client is not None:
            client.close()
        if cluster is not None:
            cluster.close()
        shutil.rmtree(folder, ignore_errors=True)
        shutil.rmtree(work, ignore_errors=True)


def add_arguments(parser):
    parser.add_argument("--dims", type=int, nargs=3, metavar=("X", "Y", "Z"), help="samples along x, y, z (raw input)")
    parser.add_argument("--type", choices=TYPES, default="uint8", help="element type of raw input")
    parser.add_argument("--header", type=int, default=0, help="bytes before the samples of each file")
    parser.add_argument("--big-endian", action="store_true", help="raw samples are big-endian")
    parser.add_argument("--components", type=int, default=1, help="values per sample")
    parser.add_argument("--tile", type=int, default=128, help="chunk edge, 8 to 512")
    parser.add_argument("--border", type=int, default=0, help="border size recorded for tiled viewers")
    parser.add_argument("--compressor", default="zstd", help="zstd, blosc, zlib, lz4 or none")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--scheduler", metavar="ADDRESS", help="a dask.distributed scheduler to run the tasks")
    where.add_argument("--workers", type=int, metavar="N", help="start a local cluster of N worker processes")
    parser.add_argument("--overwrite", action="store_true", help="replace an existing output")
    parser.add_argument("inputs", nargs="+", metavar="INPUT", help="a raw file, one per slice, or TIFF files")
    parser.add_argument("output", metavar="OUTPUT.lda")


def check_arguments(parser, args):
    raw = not all(f.lower().endswith((".tif", ".tiff")) for f in args.inputs)
    if raw and not args.dims:
        parser.error("raw input needs --dims X Y Z")
    if args.workers is not None and args.workers < 1:
        parser.error("--workers needs 1 or more")
    args.task_slots = args.workers or (8 if args.scheduler else 1)
