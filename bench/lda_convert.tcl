# Converts a raw volume (uint16 unless TYPE is given) into an lda store for
# the lda benchmarks.
#   korin lda_convert.tcl OUTPUT CODEC X Y Z FILE [TYPE]
lassign $argv output codec nx ny nz file type
if {$type eq ""} { set type uint16 }
set c [create UxConvertToDiskData]
set result [$c convertToDiskData -format "Raw Data" -lda $output -tilesize 128 -bordersize 3 \
    -compressor $codec -s 1 -dims $nx $ny $nz -ptype $type -ndatavar 1 -header 0 \
    -endianess little -bbox 0 1 0 1 0 1 $file]
if {$result != 1} { exit 1 }
