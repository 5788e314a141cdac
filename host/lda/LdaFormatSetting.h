#pragma once
// LdaFormatSetting: which OME-Zarr version the host's tiled converter writes,
// process-wide: 4 for OME-Zarr 0.4 on Zarr version 2 arrays, a file per
// chunk (the default: every reader of OME-Zarr reads it), or 5 for OME-Zarr
// 0.5 on Zarr version 3 arrays with shards (far fewer files; read by readers
// of Zarr version 3). Set with `korin --ome-zarr 0.5` or the shell command
// `omeZarrVersion 0.5`. parse reads "0.4" or "0.5"; false for anything else.
class LdaFormatSetting {
 public:
  static int version();
  static void set(int version);
  static bool parse(const char* text, int& version);
  static const char* name(int version);  // "0.4", "0.5"
};
