// Images decoded ahead on the host's thread are what readQImage gives, handed
// over only to a read of the next file of the list.
#include "host/images/ImagePrefetch.h"

#include <gtest/gtest.h>

#include <QImage>

#include <string>
#include <vector>

#include "host/images/ImageReaders.h"
#include "support/TempDir.h"

namespace {

TEST(ImagePrefetch, HandsOverTheNextImageAndLeavesOtherReadsAlone) {
  TempDir dir;
  std::vector<std::string> names;
  for (int i = 0; i < 4; ++i) {
    QImage image(7, 5, QImage::Format_RGB32);
    image.fill(qRgb(10 * i, 20, 30));
    names.push_back(dir.file("i" + std::to_string(i) + ".png"));
    ASSERT_TRUE(image.save(QString::fromStdString(names.back())));
  }
  names[2] = dir.file("missing.png");
  std::vector<const char*> list;
  for (const std::string& name : names) list.push_back(name.c_str());
  ImagePrefetch prefetch(list.data(), static_cast<int>(list.size()), 200);  // two images of 140 bytes wait at most
  // In list order, with a read of another file (the third, out of turn) between.
  for (int i : {0, 3, 1, 2, 3}) {
    SCOPED_TRACE(i);
    QImage fetched, plain;
    const int ok = readQImage(list[i], &fetched, 0);
    EXPECT_EQ(ok, readQImagePage(list[i], 0, &plain, 0));
    EXPECT_EQ(ok, i != 2);
    EXPECT_TRUE(fetched == plain);
  }
}

}  // namespace
