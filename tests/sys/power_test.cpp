#include "sys/power.h"

#include <gmock/gmock.h>

#include "tests/support/fake_kernel.h"

namespace {

constexpr char kVoltage[] = "/sys/class/power_supply/battery/voltage_now";
constexpr char kState[] = "/sys/power/poweroff_state";

class Power : public testing::Test {
  protected:
    static void Restart() {
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
    const std::pair<long long, int> cases[] = {{-5, 0},     {0, 0},      {1277, 0},           {1278, 0},
                                               {1286, 0},   {1294, 0},   {1308, 0},           {1309, 4},
                                               {1662, 48},  {1663, 48},  {2038, 96},          {2045, 96},
                                               {2046, 100}, {2100, 100}, {4294967295LL, 100}, {99999999999LL, 100}};
    for (const auto& [millivolts, percent] : cases) {
        Restart();
        EXPECT_EQ(PercentAt(millivolts), percent) << millivolts;
    }
}

TEST_F(Power, RingShowsTheFirstReadingUntilItIsFullThenTheMean) {
    Restart();
    const int first = PercentAt(1662);
    for (int i = 2; i <= 7; ++i)
        EXPECT_EQ(PercentAt(2046), first) << "reading " << i;
    EXPECT_EQ(PercentAt(2046), 92);  // mean 1998
    EXPECT_EQ(PercentAt(2046), 100);
    EXPECT_EQ(PercentAt(1278), 84);  // mean 1950: 87.5 %
}

TEST_F(Power, VoltageDropsTheLastByteAndSurvivesAnyText) {
    EXPECT_EQ(Varno::GetBatteryVoltage(), 0U) << "no battery driver";
    const std::pair<const char*, unsigned> cases[] = {
        {"2046000\n", 2046}, {"2046000", 204}, {"\n", 0}, {"", 0}, {"-1000\n", 0}, {"none\n", 0}, {"1999999\n", 1999}};
    for (const auto& [text, millivolts] : cases) {
        kernel.Put(kVoltage, text);
        EXPECT_EQ(Varno::GetBatteryVoltage(), millivolts) << text;
    }
    EXPECT_EQ(Varno::GetBatteryStatus(), 1);
}

TEST_F(Power, Charger) {
    EXPECT_FALSE(Varno::IsACOnline());
    for (const std::string text : {"1\n", "0\n", "", "11\n", "yes\n"}) {
        kernel.Put("/sys/class/power_supply/usb/online", text);
        EXPECT_EQ(Varno::IsACOnline(), text == "1\n") << text;
    }
}

TEST_F(Power, PowerOffRequest) {
    const std::string missing = "ERROR(No such file or directory): open /sys/power/poweroff_state.\n";
    testing::internal::CaptureStdout();
    EXPECT_EQ(GetPowerOffStatus(), -1);
    EXPECT_EQ(SetPowerOffStatus(), -1);
    kernel.Put(kState, "1\n");
    EXPECT_EQ(GetPowerOffStatus(), 1);
    EXPECT_EQ(SetPowerOffStatus(), 5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), missing + missing + "SetPowerOffStatus\n");
    EXPECT_EQ(kernel.Get(kState), std::string("0000\0", 5));
    EXPECT_EQ(GetPowerOffStatus(), 0);
    kernel.Put(kState, "");
    EXPECT_EQ(GetPowerOffStatus(), 0);
}

}  // namespace
