#pragma once

#include <QByteArrayView>

/** The bit rate in what the tool canconfig prints, as in "can0 bitrate: 125000, sample-point: 0.875".
 *
 *  It stands between the first "bitrate:" and the comma behind it, or the end. @return 0 when there is no number */
[[nodiscard]] int bitRateIn(QByteArrayView output);
