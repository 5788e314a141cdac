#pragma once
// LdaReduction: builds one slice of a coarser level from two slices of the
// level below.
//
// A slice holds nx * ny samples of nDataVar components (x fastest, components
// together) in the host's byte order. The coarse slice has (nx+1)/2 by
// (ny+1)/2 samples; each comes from the 2 x 2 x 2 cell of the two slices
// below it, or from fewer samples where the cell reaches past an odd edge
// (`second` null: the volume has no further slice). AVERAGE gives the mean of
// the cell's samples, for integer types exactly rounded to the nearest value
// with ties to even, for float and double computed in double precision; SHARP
// gives the cell's first sample. An element type other than the host's six,
// or a sampling other than these two, leaves `out` untouched and answers false.
#include "host/base/TbPrimType.h"

enum LdaSampling { LDA_SHARP = 0, LDA_AVERAGE = 1 };

bool reduceSlices(const void* first, const void* second, void* out, int nx, int ny, int nDataVar,
                  TbPrimType primType, int sampling);

// Halves a box of dims[0] x dims[1] x dims[2] samples along the axes
// `halve` names (x, y, z) by the same cells and rounding: an axis of n
// samples becomes (n + 1) / 2, the others stay. The box's edges are the
// volume's: a cell reaching past one holds fewer samples.
bool halveBox(const void* in, const int* dims, const bool* halve, void* out, int nDataVar, TbPrimType primType,
              int sampling);
