#pragma once
// LdaArrayMetadata: the metadata of one Zarr array of an image, read as
// untrusted JSON into an LdaStoredLevel (see LdaStore.h for what is read and
// what is refused). Both functions answer false with `why` naming the file
// and the reason.
#include <nlohmann/json_fwd.hpp>

#include <string>

struct LdaStoredLevel;

// The roles of an image's axes: [t,] [c,] [z,] y, x.
struct LdaAxes {
  int count = 0;
  int space[3] = {-1, -1, -1};  // x, y, z; z may be absent
  int channel = -1;
  int time = -1;
};

// A metadata file (at most 16 MiB, a JSON object); `name` is how `why` names it.
bool readMetadataFile(const std::string& path, const std::string& name, nlohmann::json& out, std::string& why);
// Dataset `key` of the image at `root`: ".zarray" for version 2, "zarr.json" for 3.
bool readArrayMetadata(const std::string& root, const std::string& key, int zarrVersion, const LdaAxes& axes,
                       LdaStoredLevel& level, std::string& why);
