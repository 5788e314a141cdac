#pragma once
// The converter's input list: file names as heap copies (strdup). A list and
// the copies readers get of it share the strings; whoever made a string frees
// it once, with free.
#include "host/base/TbDArray.h"

using InputList = TbDArray<char*>;

// Frees every entry of `list` that is not also in `keep`: after a call replaced
// the entries of a list, the replaced strings or the replacements.
void freeEntriesNotIn(const InputList& list, const InputList& keep);
void freeEntries(InputList& list);
