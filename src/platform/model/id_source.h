#pragma once

#include <QString>
#include <QUuid>

// Where the ids of a build come from: item folders, resource ids, item ids and the package id.
//
// The default source is random (QUuid::createUuid), so that two builds never share an id. A tool
// that wants the same ids on every rebuild installs a source of its own for the time it builds one
// component (ScopedIdSource). The current source belongs to the calling thread, so builds running
// side by side on other threads keep theirs.
class IdSource {
public:
    virtual ~IdSource() = default;

    // A new UUID; its text form (braced) names item folders and resources.
    virtual QUuid newUuid() = 0;
    // A new id for an editor item: by default the unbraced text of a new UUID.
    virtual QString newUniqueId() { return newUuid().toString(QUuid::WithoutBraces); }

    // The calling thread's source: the one a ScopedIdSource installed last, else the random one.
    static IdSource& current();
    // The random source, shared by every thread.
    static IdSource& random();
};

// Installs a source as the calling thread's current one for its lifetime, and puts the previous
// one back after. The source must outlive the guard. Guards nest.
class ScopedIdSource {
public:
    explicit ScopedIdSource(IdSource& source);
    ~ScopedIdSource();
    ScopedIdSource(const ScopedIdSource&) = delete;
    ScopedIdSource& operator=(const ScopedIdSource&) = delete;

private:
    IdSource* m_previous;
};
