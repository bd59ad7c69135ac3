#pragma once

#include <QDir>
#include <QString>

/** A directory whose last level is made when it is missing, but not those above it. Nothing is reported: where it can't
 *  be made, the result is the directory above. */
[[nodiscard]] QDir ensureDirectory(const QString &path);
