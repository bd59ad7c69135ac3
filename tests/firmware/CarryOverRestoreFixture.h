#pragma once

#include "firmware/CarryOverTest.h"

/** The start after an update. */
class CarryOverRestoreFixture : public CarryOverTest
{
protected:
    /** A store with every file, as an update leaves it. */
    void fillStore(const QByteArray &update = "NAND_UPDATE=fwupdate3\n")
    {
        ASSERT_TRUE(QDir().mkpath(store));
        for (const CarriedFile &file : files)
            writeFile(storePath(file.name), "stored " + file.name.toUtf8());
        writeFile(storePath(QStringLiteral("update")), update);
    }

    QStringList storeEntries() const
    {
        return QDir(store).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    void expectLive(const QByteArray &origin) const
    {
        for (const CarriedFile &file : files)
            EXPECT_EQ(readFile(file.livePath), origin + ' ' + file.name.toUtf8());
    }
};
