// Writes a stack of image slices through a phantom (colour-coded tissues), as
// a microscope or scanner would export them. Usage:
//   make_image_stack FOLDER COUNT WIDTH HEIGHT [png|tif|jpg|bmp] [grey|rgb|rgba]
#include <QColor>
#include <QImage>
#include <QString>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

QRgb colourAt(double x, double y, double z, bool alpha) {
  const double r = std::sqrt(x * x + y * y + z * z);
  int red = 0, green = 0, blue = 0;
  if (r < 0.9) red = 180, green = 120, blue = 100;               // tissue
  if (r < 0.8 && r > 0.72) red = 240, green = 235, blue = 220;   // a shell
  if (std::hypot(x - 0.3, y + 0.2) < 0.15 + 0.1 * z) red = 60, green = 200, blue = 80;  // a structure
  const int texture = static_cast<int>(20 * std::sin(9 * x) * std::cos(7 * y + 3 * z));
  red = std::max(0, std::min(255, red + texture));
  return alpha ? qRgba(red, green, blue, r < 0.9 ? 255 : 40) : qRgb(red, green, blue);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr, "usage: make_image_stack FOLDER COUNT WIDTH HEIGHT [png|tif|jpg|bmp] [grey|rgb|rgba]\n");
    return 2;
  }
  const int count = std::atoi(argv[2]), width = std::atoi(argv[3]), height = std::atoi(argv[4]);
  const char* format = argc > 5 ? argv[5] : "png";
  const char* kind = argc > 6 ? argv[6] : "rgb";
  const bool alpha = std::strcmp(kind, "rgba") == 0, grey = std::strcmp(kind, "grey") == 0;
  for (int k = 0; k < count; ++k) {
    QImage image(width, height, alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    const double z = 2.0 * k / count - 1;
    for (int y = 0; y < height; ++y) {
      auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
      for (int x = 0; x < width; ++x) row[x] = colourAt(2.0 * x / width - 1, 2.0 * y / height - 1, z, alpha);
    }
    if (grey) image = image.convertToFormat(QImage::Format_Grayscale8);
    char name[4096];
    std::snprintf(name, sizeof name, "%s/slice%04d.%s", argv[1], k, format);
    if (!image.save(QString::fromUtf8(name))) {
      std::fprintf(stderr, "make_image_stack: cannot write %s\n", name);
      return 1;
    }
  }
  return 0;
}
