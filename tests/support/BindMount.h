#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

#include <sys/mount.h>

/** Shows a file or directory in another one's place for as long as it lives; the latter must exist and be of the same
 *  kind. */
class BindMount
{
public:
    /** @param flags MS_RDONLY, for a place that can't be written; `source` and `target` may be the same then */
    BindMount(const QString &source, const QString &target, unsigned long flags = 0) : place(QFile::encodeName(target))
    {
        EXPECT_EQ(::mount(QFile::encodeName(source).constData(), place.constData(), nullptr, MS_BIND, nullptr), 0);
        if (flags) {
            EXPECT_EQ(::mount(nullptr, place.constData(), nullptr, MS_REMOUNT | MS_BIND | flags, nullptr), 0);
        }
    }
    // A tool that was not waited for may still run from there.
    ~BindMount() { EXPECT_EQ(::umount2(place.constData(), MNT_DETACH), 0); }
    Q_DISABLE_COPY_MOVE(BindMount)

private:
    QByteArray place;
};
