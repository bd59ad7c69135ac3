#include "FuzzTarget.h"

#include <QtGlobal>

#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size);

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    checkInput({bytes, static_cast<qsizetype>(size)});
    return 0;
}

void require(bool condition)
{
    if (!condition)
        std::abort();
}

QByteArrayView takePart(QByteArrayView &input)
{
    const QByteArrayView divider = "\n----\n";
    const qsizetype end = input.indexOf(divider);
    const QByteArrayView part = end < 0 ? input : input.first(end);
    input = end < 0 ? QByteArrayView() : input.sliced(end + divider.size());
    return part;
}
