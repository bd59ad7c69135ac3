#include "can/CanconfigOutput.h"

#include <gtest/gtest.h>

#include <QByteArray>

namespace {

struct Output
{
    const char *name;
    QByteArray text;
    int rate;
};

class CanconfigOutputTest : public testing::TestWithParam<Output>
{
};

TEST_P(CanconfigOutputTest, TellsTheBitRate)
{
    EXPECT_EQ(bitRateIn(GetParam().text), GetParam().rate);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CanconfigOutputTest,
    testing::Values(
        Output{"Tools", "can0 bitrate: 125000, sample-point: 0.875\n", 125000},
        Output{"SeveralLines",
               "can0 state: ERROR-ACTIVE\ncan0 bitrate: 1000000, sample-point: 0.750\ncan0 restart-ms: 0\n", 1000000},
        Output{"NoBlank", "bitrate:500000,x", 500000}, Output{"Blanks", "bitrate: \t 20000 \t, x", 20000},
        Output{"OtherLine", "bitrate:\n 20000\n, x", 20000}, Output{"NoComma", "bitrate: 50000\n", 50000},
        Output{"NoCommaButMore", "bitrate: 50000 sample-point: 0.5\n", 0}, Output{"EndOfText", "bitrate: 50000", 50000},
        Output{"FirstCounts", "bitrate: 1, bitrate: 2,", 1}, Output{"CommaBefore", "can0, up, bitrate: 7, x", 7},
        Output{"Nothing", "", 0}, Output{"NoMark", "can0 not found\n", 0}, Output{"OtherCase", "Bitrate: 5,", 0},
        Output{"MarkAlone", "bitrate:", 0}, Output{"PieceOfTheMark", "bitrate", 0},
        Output{"NoNumber", "bitrate: unknown, x", 0}, Output{"Empty", "bitrate:, 5", 0},
        Output{"Fraction", "bitrate: 5.5, x", 0}, Output{"Hexadecimal", "bitrate: 0x10, x", 0},
        Output{"LeadingZero", "bitrate: 010, x", 10}, Output{"Below", "bitrate: -5, x", -5},
        Output{"Greatest", "bitrate: 2147483647, x", 2147483647}, Output{"TooGreat", "bitrate: 2147483648, x", 0},
        Output{"FarTooGreat", "bitrate: 99999999999999999999999, x", 0},
        Output{"NulBefore", QByteArray("a\0bitrate: 5, x", 15), 5},
        Output{"Long", QByteArray(1'000'000, 'x') + "bitrate: 5," + QByteArray(1'000'000, ','), 5}),
    [](const auto &row) { return std::string(row.param.name); });

} // namespace
