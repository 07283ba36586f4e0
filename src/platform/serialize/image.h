#pragma once

#include <QPixmap>

namespace Types {

// The image value of the serialization library. Serializers hand images to the content receiver,
// which stores them as PNG files; the archive keeps their names. Shares its pixels as QPixmap does.
//
// Making one needs a QGuiApplication: the two constructors below throw
// Types::NoGuiApplicationError (no_gui_application_error.h) when there is none, where Qt would end
// the process.
class Image : public QPixmap {
public:
    Image();
    Image(const QPixmap& pixmap) : QPixmap(pixmap) {}  // NOLINT: an image is a pixmap
    Image(int width, int height);
};

}  // namespace Types
