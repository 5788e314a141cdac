#pragma once
// initDataCompressors: enters every codec the host offers in the Open
// Inventor type system, so that listing the types derived from
// SoDataCompressor finds them. Safe to call any number of times and from
// several threads; each type is registered once. It cannot fail short of the
// process running out of memory, and answers nothing.
void initDataCompressors();
