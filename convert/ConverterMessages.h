#pragma once
// Texts the converter shows in more than one place.

inline constexpr const char* kConvertUsage =
    "Usage:\n"
    "-format 'Raw Data' -lda ldadirectory -dims x y z -ptype p -ndatavar d -header h -endianess e "
    "-bbox b1 b2 b3 b4 b5 b6 FILE(S)\n"
    "-format 'Raw Data' -lda ldadirectory -tilesize ts -bordersize bs -compressor cs -dims x y z "
    "-ptype p -ndatavar d -header h -endianess e -bbox b1 b2 b3 b4 b5 b6 FILE(S)\n"
    "-format imageformat -lda ldadirectory -bbox b1 b2 b3 b4 b5 b6 -channel c FILE(S)";
