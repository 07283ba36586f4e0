#include "platform/model/unique_id.h"

#include "platform/model/id_source.h"

QString nextUniqueId() {
    return IdSource::current().newUniqueId();
}
