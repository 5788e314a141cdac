#pragma once
// LdaJob: a tiled conversion spread over several processes (the tasks of a
// dask cluster, say), each converting columns of the volume into one store
// folder. The store comes out byte for byte as the host's converter writes it
// for the same input and settings, whatever the number of processes.
//
// A job is a JSON file:
//   {"output": "OUT.lda", "folder": "the store being written",
//    "input": {"kind": "raw", "files": [...], "dims": [X, Y, Z],
//              "type": "uint16", "components": 1, "header": 0, "byteOrder": "little"}
//          or {"kind": "images", "files": [...], "channel": 2},
//    "box": [xmin, xmax, ymin, ymax, zmin, zmax], "tile": 128, "border": 0,
//    "sampling": 1, "compressor": "zstd" (or "none"), "omeZarr": "0.5", "tasks": 8}
// "box" may be left out (the volume's sample extent), as may "tasks" (1).
//
// prepare makes the folder (which must not exist yet), writes the store's
// metadata and writes the plan to `planFile`: {"passes": [{"first", "last",
// "width", "height", "columns"}, ...]}, with at least "tasks" columns per
// pass where the chunks allow. The columns of a pass may run at once, in any
// process, once every column of the pass before has ended; column runs one.
// commit makes the folder durable and puts it at the output's name, replacing
// an output that is there only when `replace` is set; run does all of it in
// this process, through the host's converter. Each answers false after a
// console message saying what went wrong; a failed job leaves its folder for
// the caller to remove.
#include <string>

bool ldaJobPrepare(const std::string& jobFile, const std::string& planFile);
bool ldaJobColumn(const std::string& jobFile, const std::string& planFile, int pass, int column);
bool ldaJobCommit(const std::string& jobFile, bool replace);
bool ldaJobRun(const std::string& jobFile, bool replace);
