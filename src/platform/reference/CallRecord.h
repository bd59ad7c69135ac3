#pragma once

#include <QVariantList>

/** Records that the daemon has called the platform.
 *
 *  The reference library writes it down in /var/log/qmz/platform.jsonl; the tests' fake keeps it in memory. Never fails
 *  and never blocks.
 *
 *  @param call "Class.operation", without the namespace
 *  @param args the arguments in order, enumerations as int */
void recordCall(const char *call, const QVariantList &args = {});
