#pragma once
// The folders the shell takes packages from, in order: the shell's own
// folder (a build puts everything there) and ../lib beside it (the installed
// layout). When KORIN_PACKAGE_PATH is set, its folders (separated by ':')
// are taken instead, so a run can choose exactly which packages it gets; set
// but empty, it means no packages at all. A package found in an earlier
// folder wins. Folders that do not exist are simply skipped by the loader.
#include <string>
#include <vector>

std::vector<std::string> packageFolders();
// The folder holding the running executable, "" when it cannot be told.
std::string executableFolder();
