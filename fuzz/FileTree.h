#pragma once

#include <QByteArrayView>
#include <QString>

/** Makes the entries that the lines of a text name below an empty directory, and those above them:
 *
 *      a/file
 *      a/directory/
 *      a/link -> anywhere
 *      a/file that runs as its owner!
 *      a/fifo|
 *
 *  What can't be made is left out. Nothing is made outside: no link is passed, whatever the lines say. */
void makeFileTree(const QString &directory, QByteArrayView lines);
