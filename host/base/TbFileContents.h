#pragma once
// Whole files in and out through the file seam (TbFileIO), for files that
// come from untrusted sources or must survive a power cut.
//
// openRegularFile opens a regular file for reading, or answers -1 with `why`
// set (empty when there is no such file). readRegularFile reads a whole file of at most `maxBytes` bytes. It answers
// MISSING when there is no such file (nothing else said), and REFUSED with
// `why` set ("is not a regular file", "is larger than N bytes", the system's
// reason) for anything it will not read: a folder, a pipe or a device is
// refused without waiting on it, and no more than the file's size is ever
// allocated. writeFileDurably replaces a file's content and makes it durable
// (written, synced and closed, each step checked); it answers false with
// `why` set to the system's reason, and the file's content is then
// unspecified. Neither names the path in `why`: callers do, in their words.
#include <cstdint>
#include <string>
#include <vector>

enum class TbFileRead { OK, MISSING, REFUSED };

int openRegularFile(const std::string& path, std::string& why);

TbFileRead readRegularFile(const std::string& path, int64_t maxBytes,
                           std::vector<unsigned char>& bytes, std::string& why);
bool writeFileDurably(const std::string& path, const void* data, size_t bytes, std::string& why);
