#pragma once

#include <QPixmap>

namespace Types {

// The image value of the serialization library. Serializers hand images to the content receiver,
// which stores them as PNG files; the archive keeps their names.
class Image : public QPixmap {
public:
    Image() = default;
    Image(const QPixmap& pixmap) : QPixmap(pixmap) {}  // NOLINT: an image is a pixmap
    Image(int width, int height) : QPixmap(width, height) {}
};

}  // namespace Types
