#include "system/StatusWord.h"

#include <gtest/gtest.h>

#include <array>

namespace {

class StatusWordTest : public testing::Test
{
protected:
    using Area = std::array<quint8, 8192>;

    static Area filledWith(quint8 byte)
    {
        Area area;
        area.fill(byte);
        return area;
    }
};

TEST_F(StatusWordTest, IsLittleEndianFromByte3930On)
{
    Area area = filledWith(0xFF);
    area[3930] = 0x78;
    area[3931] = 0x56;
    area[3932] = 0x34;
    area[3933] = 0x12;

    EXPECT_EQ(readStatusWord(area.data()), 0x12345678U);
}

TEST_F(StatusWordTest, SettingABitKeepsEveryOtherBitOfTheArea)
{
    for (int bit = 0; bit < 32; ++bit) {
        Area area = filledWith(0);

        writeStatusBit(area.data(), bit, true);

        Area expected = filledWith(0);
        expected[3930 + static_cast<size_t>(bit) / 8] = static_cast<quint8>(1 << bit % 8);
        EXPECT_EQ(area, expected) << bit;
    }
}

TEST_F(StatusWordTest, ClearingABitKeepsEveryOtherBitOfTheArea)
{
    for (int bit = 0; bit < 32; ++bit) {
        Area area = filledWith(0xFF);

        writeStatusBit(area.data(), bit, false);

        Area expected = filledWith(0xFF);
        expected[3930 + static_cast<size_t>(bit) / 8] = static_cast<quint8>(~(1 << bit % 8));
        EXPECT_EQ(area, expected) << bit;
    }
}

TEST_F(StatusWordTest, ABitThatIsSetAlreadyStays)
{
    Area area = filledWith(0xA5);

    writeStatusBit(area.data(), 0, true);
    writeStatusBit(area.data(), 1, false);

    EXPECT_EQ(area, filledWith(0xA5));
}

} // namespace
