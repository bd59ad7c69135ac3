// Takes the digest from what md5sum prints: it has to be the beginning of the text, and to be found again.

#include "FuzzTarget.h"

#include "firmware/Md5Text.h"

void checkInput(QByteArrayView input)
{
    const QByteArray text = input.toByteArray();
    const QByteArray digest = md5DigestIn(text);

    require(text.startsWith(digest) && !digest.contains("  "));
    require(digest == text || text.sliced(digest.size()).startsWith("  "));
    require(digest.endsWith(' ') || md5DigestIn(digest + "  linuximage\n") == digest);
}
