#include "LoggedCalls.h"

#include <qmz/ConstParameter.h>
#include <qmz/GenGlobAccess.h>
#include <qmz/NodekeepGlobals.h>
#include <qmz/OdAccess.h>
#include <qmz/SysCfgAccess.h>
#include <qmz/SysCfgMgrGlobals.h>

using namespace Qt::StringLiterals;
using qmz::ConstParameter;
using qmz::NodekeepGlobals;

namespace {

// Read while static objects are made: the values exist before main() runs.
const QString serviceNameBeforeMain = NodekeepGlobals::SERVICE_PATH_NAME;

} // namespace

TEST(PlatformValuesTest, AreThoseOfTheReferenceDevice)
{
    EXPECT_EQ(NodekeepGlobals::SERVICE_PATH_NAME, u"com.ozt.nodekeep"_s);
    EXPECT_EQ(NodekeepGlobals::LOADER_PATH, u"/loader"_s);
    EXPECT_EQ(NodekeepGlobals::VARIABLES, u"variables"_s);
    EXPECT_EQ(NodekeepGlobals::CONSTANTS, u"constants"_s);
    EXPECT_EQ(NodekeepGlobals::UPDATE_PATH, u"/srv/fwupdate"_s);
    EXPECT_EQ(NodekeepGlobals::FW_DIRNAME, u"firmware"_s);
    EXPECT_EQ(NodekeepGlobals::MIN_UPDATE_VERSION, 3);
    EXPECT_EQ(NodekeepGlobals::CERTIFICATE_PATH, u"/srv/certificates"_s);
    EXPECT_EQ(NodekeepGlobals::CODESYS_LICENSE_PATH, u"/srv/codesys"_s);
    EXPECT_EQ(NodekeepGlobals::CODESYS_LICENSE_FILE, u"codesys.lic"_s);
    EXPECT_EQ(qmz::SysCfgMgrGlobals::SERVICE_PATH_NAME, u"com.ozt.syscfgmgr"_s);
    EXPECT_EQ(ConstParameter::IDX_SYSTEM, 0);
    EXPECT_EQ(qmz::SYSSTAT_LEVEL2_PW_DISABLE_BITNR, 2);
    EXPECT_EQ(qmz::SYSSTAT_LEVEL3_PW_DISABLE_BITNR, 3);
}

TEST(PlatformValuesTest, ExistBeforeMain)
{
    EXPECT_EQ(serviceNameBeforeMain, u"com.ozt.nodekeep"_s);
}

TEST(PlatformValuesTest, TheDefaultFirmwareAddressIsOnTheConfiguredHost)
{
    EXPECT_EQ(NodekeepGlobals::DEFAULT_UPDATE_URL, u"http://" NODEKEEP_UPDATE_HOST "/qmz/builds/latest"_s);
}

TEST(PlatformValuesTest, OnlyTheSystemDomainHasAName)
{
    EXPECT_EQ(ConstParameter::domainForIdx(ConstParameter::IDX_SYSTEM), u"system"_s);
    EXPECT_EQ(ConstParameter::domainForIdx(1), QString());
    EXPECT_EQ(ConstParameter::domainForIdx(-1), QString());
}

TEST(PlatformValuesTest, ADeviceHasThePlcRuntimeAsLongAsItsDirectoryExists)
{
    const QString directory = u"/CODESYSControl"_s;
    EXPECT_FALSE(NodekeepGlobals::hasCodesys());

    writeFile(directory, "a file is no directory");
    EXPECT_FALSE(NodekeepGlobals::hasCodesys());

    removeAll(directory);
    writeFile(directory + u"/bin"_s, "");
    EXPECT_TRUE(NodekeepGlobals::hasCodesys());

    removeAll(directory);
    EXPECT_FALSE(NodekeepGlobals::hasCodesys());
}

TEST(PlatformValuesTest, ReadingAValueIsNotRecorded)
{
    removeAll(platformLogDir);

    static_cast<void>(NodekeepGlobals::hasCodesys());
    static_cast<void>(ConstParameter::domainForIdx(0));
    static_cast<void>(SysCfgAccess::getInstance());
    static_cast<void>(OdAccess::getInstance());
    static_cast<void>(qmz::globAcc.bytes());

    EXPECT_EQ(loggedCalls(), QStringList());
}
