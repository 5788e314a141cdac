#include "host/base/TbPrimType.h"

const int TbPrimType::primTypeSize[NUM_CODES] = {1, 2, 4, 4, 8, 0, 0, 2};

const char* const TbPrimType::primTypeName[NUM_CODES] = {"uint8", "int16", "int32", "float",
                                                         "double", nullptr, nullptr, "uint16"};
