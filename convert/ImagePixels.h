#pragma once
// Turns one row of an image into the bytes of one row of a slice, by the
// channel option of the image-stack conversion (convert/ChannelOption.h).
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
