#pragma once

#include <QString>

// A new id for an editor item, unique across processes: a UUID without braces. Throws nothing.
QString nextUniqueId();
