#include "platform/model/unique_id.h"

#include <QUuid>

QString nextUniqueId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}
