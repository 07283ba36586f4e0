#pragma once

#include <QImage>
#include <QSize>
#include <QString>

#include "platform/bundle/bundle_error.h"
#include "platform/bundle/read_limits.h"

namespace Bundle {

// Image files from a package: their size is taken from the header and checked against the limits
// before a single pixel is decoded, so that a small file cannot claim gigabytes of memory.

// The size that the header of the image file at `path` declares. Throws Bundle::Error naming the
// file when it cannot be read, is no image, declares no size, or is larger than the limits allow.
QSize checkedImageSize(const QString& path, const ReadLimits& limits = {});

// Decodes the image file at `path` once checkedImageSize has accepted it. Throws Bundle::Error
// naming the file for the same reasons, and when its data does not decode.
QImage readImageFile(const QString& path, const ReadLimits& limits = {});

}  // namespace Bundle
