#pragma once

#include <QString>

// A new id for an editor item, unique across processes: a UUID without braces. Taken from the
// calling thread's current id source (platform/model/id_source.h), random by default. Throws nothing.
QString nextUniqueId();
