#include "support/FileEvents.h"

#include <gtest/gtest.h>

#include <QFile>

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstring>

using namespace Qt::StringLiterals;

FileEvents::FileEvents(const QStringList &watched) : descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
{
    for (const QString &directory : watched) {
        const int watch =
            ::inotify_add_watch(descriptor, qPrintable(directory), IN_OPEN | IN_CLOSE_WRITE | IN_DELETE | IN_ONLYDIR);
        EXPECT_GT(watch, 0) << qPrintable(directory);
        while (directories.size() <= watch)
            directories.append(QString());
        directories[watch] = directory;
    }
}

FileEvents::~FileEvents()
{
    ::close(descriptor);
}

QStringList FileEvents::paths(const QString &kind)
{
    read();
    QStringList found;
    for (const QString &event : std::as_const(events)) {
        if (event.startsWith(kind + u' '))
            found.append(event.sliced(kind.size() + 1));
    }
    return found;
}

QString FileEvents::firstAfterLast(const QString &kind, const QString &before)
{
    read();
    QString path;
    for (auto event = events.crbegin(); event != events.crend() && !event->startsWith(before + u' '); ++event)
        path = event->startsWith(kind + u' ') ? event->sliced(kind.size() + 1) : QString();
    return path;
}

void FileEvents::read()
{
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t size = ::read(descriptor, buffer.data(), buffer.size());
        if (size <= 0)
            return;
        inotify_event event{};
        for (size_t at = 0; at < static_cast<size_t>(size); at += sizeof event + event.len) {
            std::memcpy(&event, &buffer.at(at), sizeof event);
            EXPECT_FALSE(event.mask & IN_Q_OVERFLOW);
            if (event.len == 0) // the directory itself
                continue;
            const QString kind = event.mask & IN_OPEN     ? u"open "_s
                                 : event.mask & IN_DELETE ? u"remove "_s
                                                          : u"write "_s;
            const QString name = QFile::decodeName(&buffer.at(at + sizeof event));
            events.append(kind + directories.value(event.wd) + u'/' + name);
        }
    }
}
