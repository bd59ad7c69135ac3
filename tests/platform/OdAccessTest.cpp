#include "LoggedCalls.h"

#include <qmz/OdAccess.h>

using namespace Qt::StringLiterals;

namespace {

const QString dictionaryDir = u"/run/qmz/od"_s;

} // namespace

TEST(OdAccessTest, IsAbsentWithoutTheDirectoryOfTheDictionary)
{
    removeAll(dictionaryDir);
    EXPECT_EQ(OdAccess::getInstance(), nullptr);

    writeFile(dictionaryDir, "a file is no directory");
    EXPECT_EQ(OdAccess::getInstance(), nullptr);
    removeAll(dictionaryDir);
}

TEST(OdAccessTest, IsOneInstanceWhereTheDirectoryExists)
{
    writeFile(dictionaryDir + u"/entries"_s, "");

    OdAccess *const dictionary = OdAccess::getInstance();

    ASSERT_NE(dictionary, nullptr);
    EXPECT_EQ(OdAccess::getInstance(), dictionary);
}

TEST(OdAccessTest, RecordsARegistrationWithAllItsArguments)
{
    removeAll(platformLogDir);
    writeFile(dictionaryDir + u"/entries"_s, "");

    OdAccess::getInstance()->odRegisterObjectSync(0x4003, 1, 0x54, 4294967295U, u"com.ozt.nodekeep"_s, u"/system"_s,
                                                  u"getPwDisable"_s, u"setPwDisable"_s, u"pw disable"_s, 0);

    EXPECT_EQ(loggedCalls(),
              QStringList{u"OdAccess.odRegisterObjectSync[16387,1,84,4294967295,\"com.ozt.nodekeep\",\"/system\","
                          "\"getPwDisable\",\"setPwDisable\",\"pw disable\",0]"_s});
}
