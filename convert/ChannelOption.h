#pragma once
// How an image stack's pixels become sample values (the converter's
// convertMethod and the image words' -channel value).
enum ChannelOption {
  CHANNEL_MAXIMUM = 0,     // one byte: max(R, G, B)
  CHANNEL_WEIGHTED = 1,    // one byte: 0.3 R + 0.59 G + 0.11 B
  CHANNEL_FIRST = 2,       // one byte: R, or the grey value
  CHANNEL_SECOND = 3,      // one byte: G
  CHANNEL_THIRD = 4,       // one byte: B
  CHANNEL_ALPHA = 5,       // one byte: A
  CHANNEL_COLORFIELD = 10  // four bytes: R, G, B and A (1 for images without alpha)
};
