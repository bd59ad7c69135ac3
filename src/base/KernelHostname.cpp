#include "base/KernelHostname.h"

#include "base/RegularFile.h"

std::optional<QString> readKernelHostname()
{
    return readValueFile(kernelHostnamePath);
}
