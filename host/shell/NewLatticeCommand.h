#pragma once
// newLattice -ondisk NDATAVAR TYPE X Y Z ?xmin xmax ymin ymax zmin zmax?:
// asks the package that offers on-disk lattices for a new uniform lattice
// (box -1..1 on every axis unless given) and puts it in the pool; the result
// is its name. Fails, with the result set, on bad words, when no package
// offers on-disk lattices, or when the package makes no lattice.
#include <tcl.h>

class KorinShell;

extern const char kNewLatticeUsage[];

int newLatticeCommand(KorinShell& shell, Tcl_Interp* interp, int argc, const char** argv);
