#include "host/codecs/SoDataCompressor.h"

#include <gtest/gtest.h>
#include <zstd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/codecs/SoDataCompressors.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Codec = std::unique_ptr<SoDataCompressor>;

Codec codecOfClass(const char* className) {
  initDataCompressors();
  return Codec(static_cast<SoDataCompressor*>(SoType::fromName(className).createInstance()));
}

// A cube of side n holding a ball in shells of falling brightness on a dim
// background, with a speck of noise here and there: compressible, but not
// trivially.
Bytes volumeBlock(int n) {
  std::mt19937 noise(7);
  std::vector<uint16_t> voxels;
  const double centre = (n - 1) / 2.0;
  for (int z = 0; z < n; ++z)
    for (int y = 0; y < n; ++y)
      for (int x = 0; x < n; ++x) {
        const double r = std::sqrt((x - centre) * (x - centre) + (y - centre) * (y - centre) +
                                   (z - centre) * (z - centre));
        const int level = r < n / 3.0 ? 3000 - 100 * static_cast<int>(r / 2) : 120;
        const int speck = noise() % 8 == 0 ? static_cast<int>(noise() % 16) : 0;
        voxels.push_back(static_cast<uint16_t>(level + speck));
      }
  const auto* bytes = reinterpret_cast<const unsigned char*>(voxels.data());
  return Bytes(bytes, bytes + voxels.size() * sizeof(uint16_t));
}

Bytes randomBytes(size_t count, unsigned seed) {
  std::mt19937 generator(seed);
  Bytes bytes(count);
  for (auto& byte : bytes) byte = static_cast<unsigned char>(generator() >> 24);
  return bytes;
}

Bytes compressed(const SoDataCompressor& codec, const Bytes& data) {
  Bytes stream;
  EXPECT_TRUE(codec.compress(data.data(), data.size(), stream));
  return stream;
}

bool restores(const SoDataCompressor& codec, const Bytes& stream, const Bytes& original) {
  Bytes restored(original.size());
  return codec.decompress(stream.data(), stream.size(), restored.data(), restored.size()) &&
         restored == original;
}

bool decodes(const SoDataCompressor& codec, const Bytes& stream, size_t outBytes) {
  Bytes out(outBytes);
  return codec.decompress(stream.data(), stream.size(), out.data(), out.size());
}

const char* const classNames[] = {"SoZlibCompressor", "SoZstdCompressor", "SoLz4Compressor", "SoBloscCompressor"};

TEST(SoDataCompressorRegistry, NoCodecReadsAnotherCodecsStream) {
  const Bytes data = volumeBlock(16);
  for (const char* writer : classNames)
    for (const char* reader : classNames) {
      if (std::string(writer) == reader) continue;
      SCOPED_TRACE(std::string(writer) + " read by " + reader);
      const Bytes stream = compressed(*codecOfClass(writer), data);
      EXPECT_FALSE(decodes(*codecOfClass(reader), stream, data.size()));
    }
}

class SoDataCompressorCodec : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    codec = codecOfClass(GetParam());
    ASSERT_TRUE(codec);
  }
  Codec codec;
};

// Each input comes back exactly, in at most `maxBytes` bytes of stream; a
// stream replaces what its output held; null buffers of non-zero length are
// refused.
TEST_P(SoDataCompressorCodec, RestoresEveryInputExactly) {
  const Bytes block = volumeBlock(64);
  const Bytes noise = randomBytes(256 * 1024, 11);
  const struct {
    const char* name;
    const Bytes& data;
    size_t maxBytes;
  } inputs[] = {{"volume block", block, block.size() / 2},
                {"incompressible", noise, noise.size() + noise.size() / 100 + 64},
                {"one byte", Bytes(1, 7), 64}};
  for (const auto& input : inputs) {
    SCOPED_TRACE(input.name);
    Bytes stream = randomBytes(100000, 3);
    ASSERT_TRUE(codec->compress(input.data.data(), input.data.size(), stream));
    EXPECT_LE(stream.size(), input.maxBytes);
    EXPECT_TRUE(restores(*codec, stream, input.data));
  }
  Bytes stream;
  ASSERT_TRUE(codec->compress(nullptr, 0, stream));
  EXPECT_TRUE(codec->decompress(stream.data(), stream.size(), nullptr, 0));
  unsigned char byte = 0;
  EXPECT_FALSE(codec->decompress(stream.data(), stream.size(), &byte, 1));
  EXPECT_FALSE(codec->compress(nullptr, 10, stream));
  EXPECT_TRUE(stream.empty());
  stream = compressed(*codec, block);
  Bytes out(block.size());
  EXPECT_FALSE(codec->decompress(nullptr, stream.size(), out.data(), out.size()));
  EXPECT_FALSE(codec->decompress(stream.data(), stream.size(), nullptr, out.size()));
}

// Every truncation, padding, garbage, and every wrong output size. Each wrong
// size gets a buffer of exactly that size, so a write past it is caught by the
// sanitizer build; the guard bytes catch it in the others.
TEST_P(SoDataCompressorCodec, RefusesStreamsAndSizesThatDoNotMatch) {
  const Bytes data = volumeBlock(16);
  const Bytes stream = compressed(*codec, data);
  for (size_t length = 0; length < stream.size(); ++length)
    EXPECT_FALSE(decodes(*codec, Bytes(stream.begin(), stream.begin() + length), data.size()))
        << "kept " << length << " of " << stream.size() << " bytes";
  Bytes padded = stream;
  padded.push_back(0);
  EXPECT_FALSE(decodes(*codec, padded, data.size()));
  for (size_t length : {1, 7, 12, 13, 100, 5000})
    EXPECT_FALSE(decodes(*codec, randomBytes(length, static_cast<unsigned>(length)), 4096)) << length << " bytes";
  for (size_t size : {size_t{0}, size_t{1}, data.size() - 1, data.size() + 1, 2 * data.size()})
    EXPECT_FALSE(decodes(*codec, stream, size)) << size << " bytes";
  Bytes guarded(data.size() + 64, 0xA5);
  EXPECT_FALSE(codec->decompress(stream.data(), stream.size(), guarded.data(), data.size() - 1));
  EXPECT_TRUE(std::all_of(guarded.begin() + data.size() - 1, guarded.end(),
                          [](unsigned char b) { return b == 0xA5; }));
}

std::string classNameOf(const ::testing::TestParamInfo<const char*>& info) { return info.param; }

INSTANTIATE_TEST_SUITE_P(AllCodecs, SoDataCompressorCodec, ::testing::ValuesIn(classNames), classNameOf);

// Only zlib and zstd streams carry a checksum and can tell damage from data.
using SoChecksummedCodec = SoDataCompressorCodec;

TEST_P(SoChecksummedCodec, RefusesADamagedByteAnywhere) {
  const Bytes data = volumeBlock(16);
  const Bytes stream = compressed(*codec, data);
  for (size_t at = 0; at < stream.size(); ++at) {
    Bytes damaged = stream;
    damaged[at] ^= 0xFF;
    EXPECT_FALSE(decodes(*codec, damaged, data.size())) << "damage at byte " << at;
  }
}

INSTANTIATE_TEST_SUITE_P(ZlibAndZstd, SoChecksummedCodec, ::testing::Values("SoZlibCompressor", "SoZstdCompressor"),
                         classNameOf);

// Streaming writers leave the content size out of a frame: it decodes as long
// as it comes to the size asked for.
TEST(SoZstdCompressor, DecodesFramesWithoutTheirContentSize) {
  const Bytes data = volumeBlock(16);
  Bytes frame(ZSTD_compressBound(data.size()));
  ZSTD_CCtx* context = ZSTD_createCCtx();
  ZSTD_CCtx_setParameter(context, ZSTD_c_contentSizeFlag, 0);
  ZSTD_outBuffer out{frame.data(), frame.size(), 0};
  ZSTD_inBuffer in{data.data(), data.size(), 0};
  ASSERT_EQ(ZSTD_compressStream2(context, &out, &in, ZSTD_e_end), 0u);
  ZSTD_freeCCtx(context);
  frame.resize(out.pos);
  ASSERT_EQ(ZSTD_getFrameContentSize(frame.data(), frame.size()), ZSTD_CONTENTSIZE_UNKNOWN);
  const Codec codec = codecOfClass("SoZstdCompressor");
  EXPECT_TRUE(restores(*codec, frame, data));
  EXPECT_FALSE(decodes(*codec, frame, data.size() - 1));
  EXPECT_FALSE(decodes(*codec, frame, data.size() + 1));
}

// The element size shapes a Blosc stream (the shuffle) but any stream decodes.
TEST(SoBloscCompressor, ShufflesByTheElementSizeGiven) {
  const Bytes data = volumeBlock(32);
  const Codec bytes = codecOfClass("SoBloscCompressor"), words = codecOfClass("SoBloscCompressor");
  words->setElementBytes(2);
  const Bytes byBytes = compressed(*bytes, data), byWords = compressed(*words, data);
  EXPECT_LT(byWords.size(), byBytes.size());
  EXPECT_TRUE(restores(*bytes, byWords, data));
}

}  // namespace
