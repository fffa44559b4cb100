// Black-box runs of the catalogue verbs of tdctl on temporary demo installations.
#include "cli/tdctl_runner.h"
#include "support/temp_folder.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

namespace {

using td::test::Run_Result;
using td::test::Run_Tdctl;
using td::test::Temp_Folder;

double F64_At(const std::string& bytes, std::size_t at) {
    double value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

class Catalogue_Verbs : public ::testing::Test {
protected:
    Temp_Folder config;
    Temp_Folder home;

    void SetUp() override {
        Run_Result init = Run_Tdctl("init --demo --home " + home.Path(), config);
        ASSERT_EQ(init.exit_code, 0) << init.err;
    }
    Run_Result Run(const std::string& arguments) {
        return Run_Tdctl(arguments + " --home " + home.Path(), config);
    }
};

TEST_F(Catalogue_Verbs, FuelSetSavesThroughTheScreen) {
    Run_Result set = Run("fuel set 6 ' Керосин ' 12,50");
    ASSERT_EQ(set.exit_code, 0) << set.err;
    EXPECT_NE(set.out.find("6\tКеросин\t12,5\t"), std::string::npos) << set.out;
    std::string fuel = home.Read("data/Fuel.dat");
    ASSERT_EQ(fuel.size(), 8u * 546);
    EXPECT_EQ(fuel[5 * 546], 1);
    EXPECT_EQ(F64_At(fuel, 5 * 546 + 33), 12.5);
    EXPECT_EQ(static_cast<unsigned char>(fuel[5 * 546 + 49]), 1u); // history pushed
    EXPECT_EQ(static_cast<unsigned char>(fuel[7 * 546 + 49]), 1u); // for every slot

    // The point gives the same price; a comma that doesn't convert is a bad argument.
    ASSERT_EQ(Run("fuel set 6 Керосин 12.50").exit_code, 0);
    EXPECT_EQ(F64_At(home.Read("data/Fuel.dat"), 5 * 546 + 33), 12.5);
    Run_Result bad = Run("fuel set 6 Керосин 1,2,3");
    EXPECT_EQ(bad.exit_code, 2);
    EXPECT_NE(bad.err.find("1,2,3"), std::string::npos) << bad.err;
    EXPECT_EQ(F64_At(home.Read("data/Fuel.dat"), 5 * 546 + 33), 12.5);
    EXPECT_EQ(Run("fuel set 9 X").exit_code, 2);
}

TEST_F(Catalogue_Verbs, StationSetWritesAllSixteen) {
    Run_Result set = Run("station set 16 'АЗС на выезде'");
    ASSERT_EQ(set.exit_code, 0) << set.err;
    EXPECT_NE(set.out.find("16\tАЗС на выезде\n"), std::string::npos) << set.out;
    std::string stations = home.Read("data/Establishments.dat");
    ASSERT_EQ(stations.size(), 16u * 256);
    for (int slot = 0; slot < 16; ++slot)
        EXPECT_EQ(stations[static_cast<std::size_t>(slot) * 256], 1) << slot;
    EXPECT_EQ(Run("station set 17 X").exit_code, 2);
}

TEST_F(Catalogue_Verbs, VolumeAddRefusesLikeTheScreen) {
    Run_Result add = Run("volume add 50 35 12 12");
    ASSERT_EQ(add.exit_code, 0) << add.err;
    EXPECT_NE(add.out.find("declared: 1\n"), std::string::npos) << add.out;
    EXPECT_NE(add.out.find("\t12\n"), std::string::npos) << add.out;
    EXPECT_EQ(add.out.find("\t50\n"), std::string::npos) << add.out;
    EXPECT_EQ(Run("volume add 1234").exit_code, 2); // more than the key table lets through
    EXPECT_EQ(Run("volume add 40 ,").exit_code, 2); // a lone comma does not convert

    // Fill up to the limit: the demo has 5 volumes now, 195 more fit.
    std::string many;
    for (int litres = 101; litres <= 295; ++litres)
        many += " " + std::to_string(litres);
    Run_Result full = Run("volume add" + many);
    ASSERT_EQ(full.exit_code, 0) << full.err;
    Run_Result over = Run("volume add 296");
    EXPECT_EQ(over.exit_code, 1);
    EXPECT_NE(over.err.find("невозможно задать более 200 пользовательских литражей!"),
              std::string::npos)
        << over.err;
    EXPECT_EQ(home.Read("data/UsVol.dat").size(), 200u * 16);
}

} // namespace
