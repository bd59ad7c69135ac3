#pragma once

#include <QByteArray>

/** What the web server of another device has to get so that its daemon signals with the LEDs: a call in JSON, with
 *  address and method in one text and the value as text too.
 *  @param timeInSec as it is; the other device makes 10 of what is not above 0 */
[[nodiscard]] QByteArray ledRequestBody(int timeInSec);
