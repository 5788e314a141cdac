# Converts an image stack into disk data for the image benchmark.
#   korin convert_images.tcl OUTPUT CHANNEL FILE...
set files [lassign $argv output channel]
set c [create UxConvertToDiskData]
$c forceKorin311Format 1
set result [$c convertToDiskData -format PNG -lda $output -bbox 0 1 0 1 0 1 -channel $channel {*}$files]
if {$result != 1} { exit 1 }
