#include "sys/power.h"

#include <gmock/gmock.h>

#include <vector>

#include "tests/support/fake_kernel.h"

namespace {

constexpr char kVoltage[] = "/sys/class/power_supply/battery/voltage_now";
constexpr char kState[] = "/sys/power/poweroff_state";

class Power : public testing::Test {
  protected:
    Power() {
        Varno::accul_index = 0;
        Varno::g_firstAdc = true;
    }
    int PercentAt(long long millivolts) {
        kernel.Put(kVoltage, std::to_string(millivolts * 1000) + "\n");
        return Varno::GetBatteryPowerPercent();
    }

    support::FakeKernel kernel;
};

TEST_F(Power, PercentageOfTheFirstReading) {
    const struct {
        long long millivolts;
        int percent;
    } cases[] = {{-5, 0},     {0, 0},      {1277, 0},   {1278, 0},           {1286, 0},           {1294, 0},
                 {1308, 0},   {1309, 4},   {1662, 48},  {1663, 48},          {2038, 96},          {2045, 96},
                 {2046, 100}, {2100, 100}, {9999, 100}, {4294967295LL, 100}, {99999999999LL, 100}};
    for (const auto& c : cases) {
        Varno::accul_index = 0;
        Varno::g_firstAdc = true;
        EXPECT_EQ(PercentAt(c.millivolts), c.percent) << c.millivolts;
    }
}

TEST_F(Power, RingShowsTheFirstReadingUntilItIsFullThenTheMean) {
    const int first = PercentAt(1662);
    for (int i = 2; i <= 7; ++i)
        EXPECT_EQ(PercentAt(2046), first) << "reading " << i;
    EXPECT_EQ(PercentAt(2046), 92);  // mean 1998
    EXPECT_EQ(PercentAt(2046), 100);
    EXPECT_EQ(PercentAt(1278), 84);  // mean 1950: 87.5 %
}

TEST_F(Power, VoltageDropsTheLastByteAndSurvivesAnyText) {
    const struct {
        const char* text;
        unsigned millivolts;
    } cases[] = {{"2046000\n", 2046}, {"2046000", 204}, {"\n", 0},          {"", 0},
                 {"-1000\n", 0},      {"none\n", 0},    {"1999999\n", 1999}};
    EXPECT_EQ(Varno::GetBatteryVoltage(), 0U) << "no battery driver";
    for (const auto& c : cases) {
        kernel.Put(kVoltage, c.text);
        EXPECT_EQ(Varno::GetBatteryVoltage(), c.millivolts) << c.text;
    }
    EXPECT_EQ(Varno::GetBatteryStatus(), 1);
}

TEST_F(Power, Charger) {
    constexpr char kOnline[] = "/sys/class/power_supply/usb/online";
    EXPECT_FALSE(Varno::IsACOnline());
    for (const auto& [text, online] : std::vector<std::pair<const char*, bool>>{
             {"1\n", true}, {"0\n", false}, {"", false}, {"11\n", false}, {"yes\n", false}}) {
        kernel.Put(kOnline, text);
        EXPECT_EQ(Varno::IsACOnline(), online) << text;
    }
}

TEST_F(Power, PowerOffRequest) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(GetPowerOffStatus(), -1);
    EXPECT_EQ(SetPowerOffStatus(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ERROR(No such file or directory): open /sys/power/poweroff_state.\n"
              "ERROR(No such file or directory): open /sys/power/poweroff_state.\n");

    kernel.Put(kState, "1\n");
    EXPECT_EQ(GetPowerOffStatus(), 1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(SetPowerOffStatus(), 5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "SetPowerOffStatus\n");
    EXPECT_EQ(kernel.Get(kState), std::string("0000\0", 5));
    EXPECT_EQ(GetPowerOffStatus(), 0);
    kernel.Put(kState, "");
    EXPECT_EQ(GetPowerOffStatus(), 0);
}

}  // namespace
