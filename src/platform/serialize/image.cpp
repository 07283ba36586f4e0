#include "platform/serialize/image.h"

#include "platform/serialize/no_gui_application_error.h"

namespace Types {

// Checked before QPixmap's constructor runs, which would end the process.
Image::Image() : QPixmap((requireGuiApplication(QStringLiteral("making an image")), QPixmap())) {}

Image::Image(int width, int height)
    : QPixmap((requireGuiApplication(QStringLiteral("making an image")), QPixmap(width, height))) {}

}  // namespace Types
