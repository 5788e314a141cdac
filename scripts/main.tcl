# The main job: converts a generated raw volume into a disk-data set with the
# converter module, reopens it, reads it at subsamplings 1, 2, 4 and 8 and
# writes a preview of its middle slice at each; then the same volume as a
# compressed lda store, read back at subsampling 2.
#   korin scripts/main.tcl FOLDER RAWFILE X Y Z
lassign $argv folder raw nx ny nz
file mkdir $folder

set converter [create UxConvertToDiskData]
$converter forceKorin311Format 1
# A second run replaces what the first made, without asking.
answer warning "Yes to All"
if {[$converter convertToDiskData -format "Raw Data" -lda $folder/phantom \
        -dims $nx $ny $nz -ptype uint16 -ndatavar 1 -header 0 -endianess little \
        -bbox 0 [expr {$nx - 1}] 0 [expr {$ny - 1}] 0 [expr {$nz - 1}] $raw] != 1} {exit 1}
puts "converted $raw ([file size $raw] bytes) into $folder/phantom.km"

set data [load $folder/phantom.km]
puts "reopened $data: [$data getDims] samples of [$data getPrimType], writable [$data isWritable]"

proc stats {file} {
  set f [open $file rb]; set bytes [read $f]; close $f
  binary scan $bytes su* values
  set sum 0; set max 0
  foreach v $values { incr sum $v; if {$v > $max} { set max $v } }
  return [format "mean %.1f, max %d" [expr {double($sum) / [llength $values]}] $max]
}

foreach s {1 2 4 8} {
  set sx [expr {$nx / $s}]; set sy [expr {$ny / $s}]; set sz [expr {$nz / $s}]
  set box $folder/sub$s.raw
  set start [clock milliseconds]
  $data readBox $box 0 0 0 $sx $sy $sz $s $s $s
  set took [expr {[clock milliseconds] - $start}]
  $data preview $folder/slice-sub$s.png z [expr {$nz / 2}] $s
  puts [format "subsampling %d: %d x %d x %d samples in %d ms (%s), preview %s" \
      $s $sx $sy $sz $took [stats $box] $folder/slice-sub$s.png]
  file delete $box
}

# The same volume as a compressed lda store (OME-Zarr, as zarr-python and
# napari read it), then read back through the host at subsampling 2.
$converter forceKorin311Format 0
answer warning "Yes to All"
if {[$converter convertToDiskData -format "Raw Data" -lda $folder/phantom -compressor zstd \
        -dims $nx $ny $nz -ptype uint16 -ndatavar 1 -header 0 -endianess little \
        -bbox 0 [expr {$nx - 1}] 0 [expr {$ny - 1}] 0 [expr {$nz - 1}] $raw] != 1} {exit 1}
set bytes 0
foreach chunk [glob -nocomplain -directory $folder/phantom.lda -type f */* */*/* */*/*/*] { incr bytes [file size $chunk] }
set store [load $folder/phantom.lda]
$store readBox $folder/lda-sub2.raw 0 0 0 [expr {$nx / 2}] [expr {$ny / 2}] [expr {$nz / 2}] 2 2 2
puts [format "lda store %s: %d bytes of chunks (%.1f%% of the input), read at subsampling 2: %s" \
    $folder/phantom.lda $bytes [expr {100.0 * $bytes / [file size $raw]}] [stats $folder/lda-sub2.raw]]
file delete $folder/lda-sub2.raw
