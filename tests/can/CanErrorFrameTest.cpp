#include "can/CanErrorFrame.h"

#include <gmock/gmock.h>

#include <linux/can.h>

#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

QByteArray frame(canid_t id)
{
    can_frame frame{};
    frame.can_id = id;
    return {reinterpret_cast<const char *>(&frame), sizeof frame};
}

std::vector<int> codesIn(QByteArrayView bytes)
{
    std::vector<int> codes;
    for (const CanBusError &error : canErrorsIn(bytes))
        codes.push_back(error.code);
    return codes;
}

TEST(CanErrorFrameTest, EachClassIsAnErrorInTheOrderOfBits)
{
    EXPECT_THAT(codesIn(frame(CAN_ERR_FLAG | 0x40)), ElementsAre(0x40));
    EXPECT_THAT(codesIn(frame(CAN_ERR_FLAG | 0x1ff)),
                ElementsAre(0x001, 0x002, 0x004, 0x008, 0x010, 0x020, 0x040, 0x080, 0x100));
}

TEST(CanErrorFrameTest, FrameWithoutAKnownClassHoldsNone)
{
    EXPECT_THAT(codesIn(frame(CAN_ERR_FLAG)), IsEmpty());
    EXPECT_THAT(codesIn(frame(CAN_ERR_FLAG | 0x1000'0200)), IsEmpty());
}

TEST(CanErrorFrameTest, DataFrameHoldsNone)
{
    EXPECT_THAT(codesIn(frame(CAN_EFF_FLAG | CAN_RTR_FLAG | 0x1ff)), IsEmpty());
}

TEST(CanErrorFrameTest, OtherSizeIsOneUnspecifiedError)
{
    const QByteArray busOff = frame(CAN_ERR_FLAG | 0x40);

    EXPECT_THAT(codesIn({}), ElementsAre(0));
    EXPECT_THAT(codesIn(busOff.chopped(1)), ElementsAre(0));
    EXPECT_THAT(codesIn(busOff + '\0'), ElementsAre(0));
}

} // namespace
