#pragma once
// Turns one row of an image into the bytes of one row of a slice, by the
// channel option of the image-stack conversion:
//   0 maximum of R, G, B        1 weighted average (0.3 R + 0.59 G + 0.11 B)
//   2 channel 1 (R, or the grey value)   3 channel 2 (G)   4 channel 3 (B)
//   5 alpha (A)                 10 colour field: R, G, B and A (1 for images without alpha)
// Rows are moved whole where they can be: grey rows are copied as they are.
#include <QImage>

// The components a slice sample gets for an option and the channels of the
// first image; 0 when the pairing is not supported.
int componentsForOption(int option, int channels);

// Writes row y of `image` (already in the form convertRow expects) to `out`;
// false when the option cannot be applied to images of `channels` channels.
bool convertRow(const QImage& image, int y, int option, int channels, unsigned char* out);

// Brings an image into the form convertRow reads: Grayscale8 for grey stacks,
// 32-bit RGB or ARGB for colour ones.
QImage prepareImage(const QImage& image, int channels);
