#pragma once
// The one file type the converter's output port offers: the host's large-data
// format, or the disk-data description file once disk data is forced.
class UxPortFilename;

void offerOutputFileType(UxPortFilename& output, bool diskData);
