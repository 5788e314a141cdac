#pragma once
// The host's type URIs of lattices, compared byte for byte by whoever receives
// one: a lattice creator refuses a type it does not make.

#define KORIN_UNIFORM_LATTICE_TYPE "https://korin.invalid/latticetypes#uniform"
