// Decodes image files with QImage alone and does nothing else with them: the
// floor under any image-stack conversion, for the image benchmark's ratio.
//   decode_images FILE...
#include <QImage>
#include <QString>

#include <cstdio>

int main(int argc, char** argv) {
  long long pixels = 0;
  for (int i = 1; i < argc; ++i) {
    QImage image(QString::fromUtf8(argv[i]));
    if (image.isNull()) {
      std::fprintf(stderr, "decode_images: cannot read %s\n", argv[i]);
      return 1;
    }
    pixels += static_cast<long long>(image.width()) * image.height();
  }
  std::printf("%lld pixels\n", pixels);
  return 0;
}
