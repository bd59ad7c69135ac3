// The PLC's applications, entered into the runtime's configuration at the start after an update.

#include "firmware/CarryOverRestoreFixture.h"

using namespace Qt::StringLiterals;

namespace {

const QString list = u"/srv/codesys/qmz.cfg"_s;
const QString configuration = u"/CODESYSControl/CODESYSControl.cfg"_s;
const QByteArray section = "[CmpApp]\nApplication.1=Old\nBootproject.RetainMismatch.Init=1\nx=y\n";

/** The PLC's applications in the runtime's new configuration. */
class CarryOverPlcTest : public CarryOverRestoreFixture
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDir().mkdir(u"/srv/codesys"_s) && QDir().mkdir(u"/CODESYSControl"_s));
        writeFile(configuration, section);
        fillStore("");
    }
};

TEST_F(CarryOverPlcTest, ComeFromTheListWhichStays)
{
    writeFile(list, "35\nOne\nTwo\n");
    writeFile(u"/srv/codesys/Application.app"_s, "");

    construct();

    EXPECT_EQ(readFile(configuration), "[CmpApp]\nApplication.1=One\nApplication.2=Two\n"
                                       "Bootproject.RetainMismatch.Init=1\nx=y\n");
    EXPECT_EQ(readFile(list), "35\nOne\nTwo\n");
    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST_F(CarryOverPlcTest, DirectoriesAreMade)
{
    construct();

    EXPECT_TRUE(QDir(u"/srv/codesys/visu"_s).exists());
    EXPECT_TRUE(QDir(u"/srv/codesys/PlcLogic"_s).exists());
}

TEST_F(CarryOverPlcTest, ListWithoutTheSectionChangesNothingAndTheDefaultIsNotEntered)
{
    const QByteArray text = "Bootproject.RetainMismatch.Init=1\nApplication.1=Old\n";
    writeFile(configuration, text);
    writeFile(list, "35\nOne\n");
    writeFile(u"/srv/codesys/Application.app"_s, "");

    construct();

    EXPECT_EQ(readFile(configuration), text);
}

TEST_F(CarryOverPlcTest, DefaultIsEnteredWithoutAList)
{
    for (const bool isFifo : {false, true}) {
        writeFile(configuration, section);
        writeFile(u"/srv/codesys/Application.app"_s, "");
        if (isFifo)
            makeFifo(list);
        fillStore("");

        construct();

        EXPECT_EQ(readFile(configuration), "[CmpApp]\nApplication.1=Old\nBootproject.RetainMismatch.Init=1\n"
                                           "Application.1=Application\nx=y\n");
        manager.reset();
    }
}

TEST_F(CarryOverPlcTest, DefaultIsNotEnteredWithoutItsFile)
{
    writeFile(u"/srv/codesys/Other.app"_s, "");
    ASSERT_TRUE(QDir().mkdir(u"/srv/codesys/Application.app"_s));

    construct();

    EXPECT_EQ(readFile(configuration), section);
}

TEST_F(CarryOverPlcTest, DefaultIsNotEnteredWithoutItsPlace)
{
    writeFile(u"/srv/codesys/Application.app"_s, "");
    writeFile(configuration, "[CmpApp]\nBootproject.RetainMismatch.Init=0\n");

    construct();

    EXPECT_EQ(readFile(configuration), "[CmpApp]\nBootproject.RetainMismatch.Init=0\n");
}

TEST_F(CarryOverPlcTest, WithoutAConfigurationTheRestoreGoesOn)
{
    for (const bool hasList : {false, true}) {
        removeAll(u"/CODESYSControl"_s);
        writeFile(u"/srv/codesys/Application.app"_s, "");
        if (hasList)
            writeFile(list, "35\nOne\n");
        fillStore("");

        construct();

        EXPECT_TRUE(manager->getFwUpdated());
        EXPECT_FALSE(fileExists(u"/CODESYSControl"_s));
        manager.reset();
    }
}

} // namespace
