# Converts raw uint16 input into disk data for the conversion benchmark.
#   korin convert_raw.tcl OUTPUT X Y Z FILE...
set files [lassign $argv output nx ny nz]
set c [create UxConvertToDiskData]
$c forceKorin311Format 1
set result [$c convertToDiskData -format "Raw Data" -lda $output -dims $nx $ny $nz -ptype uint16 \
    -ndatavar 1 -header 0 -endianess little -bbox 0 1 0 1 0 1 {*}$files]
if {$result != 1} { exit 1 }
