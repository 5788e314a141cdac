// Writes a library's own size into the "size" field of its build-information
// record, in place: the field has a fixed width, so the size does not change.
// Every copy of the record is stamped (debug sections may hold one too).
//   stamp_library_size LIBRARY MARKER
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: stamp_library_size LIBRARY MARKER\n");
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  in.close();
  char digits[16];
  std::snprintf(digits, sizeof digits, "%010zu", bytes.size());
  const std::string field = "|size|";
  int stamped = 0;
  for (size_t record = bytes.find(argv[2]); record != std::string::npos;
       record = bytes.find(argv[2], record + 1)) {
    const size_t size = bytes.find(field, record);
    if (size == std::string::npos) break;
    bytes.replace(size + field.size(), 10, digits, 10);
    ++stamped;
  }
  if (!stamped) {
    std::fprintf(stderr, "stamp_library_size: no build record in %s\n", argv[1]);
    return 1;
  }
  std::ofstream out(argv[1], std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return out ? 0 : 1;
}
