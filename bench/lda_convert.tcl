# Converts a raw uint16 volume into an lda store for the lda benchmark.
#   korin lda_convert.tcl OUTPUT CODEC X Y Z FILE
lassign $argv output codec nx ny nz file
set c [create UxConvertToDiskData]
set result [$c convertToDiskData -format "Raw Data" -lda $output -tilesize 128 -bordersize 3 \
    -compressor $codec -s 1 -dims $nx $ny $nz -ptype uint16 -ndatavar 1 -header 0 \
    -endianess little -bbox 0 1 0 1 0 1 $file]
if {$result != 1} { exit 1 }
