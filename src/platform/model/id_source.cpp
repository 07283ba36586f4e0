#include "platform/model/id_source.h"

namespace {

class RandomIdSource : public IdSource {
public:
    QUuid newUuid() override { return QUuid::createUuid(); }
};

thread_local IdSource* installed = nullptr;

}  // namespace

IdSource& IdSource::random() {
    static RandomIdSource source;
    return source;
}

IdSource& IdSource::current() {
    return installed ? *installed : random();
}

ScopedIdSource::ScopedIdSource(IdSource& source) : m_previous(installed) {
    installed = &source;
}

ScopedIdSource::~ScopedIdSource() {
    installed = m_previous;
}
