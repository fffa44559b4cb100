// The catalogue verbs of tdctl on the installation of tests/data: the bytes they save.
#include "cli/tdctl_runner.h"

namespace td::test {
namespace {

class Catalogue_Verbs : public Tdctl_Test {
protected:
    void SetUp() override {
        Tdctl_Test::SetUp();
        Install();
    }
};

TEST_F(Catalogue_Verbs, FuelSetSavesThroughTheScreen) {
    const Run_Result set = Verb("fuel set 6 ' Керосин ' 12,50");
    ASSERT_EQ(set.exit_code, 0) << set.err;
    EXPECT_TRUE(Has(set.out, "6\tКеросин\t12,5\t")) << set.out;
    const std::string fuel = Read("Fuel.dat");
    ASSERT_EQ(fuel.size(), 8u * 546);
    EXPECT_EQ(fuel[5 * 546], 1);
    EXPECT_EQ(Get<double>(fuel, 5 * 546 + 33), 12.5);
    EXPECT_EQ(fuel[5 * 546 + 49], 1); // history pushed
    EXPECT_EQ(fuel[7 * 546 + 49], 1); // for every slot

    // The point gives the same price.
    ASSERT_EQ(Verb("fuel set 6 Керосин 12.50").exit_code, 0);
    EXPECT_EQ(Get<double>(Read("Fuel.dat"), 5 * 546 + 33), 12.5);

    // The price the program wrote itself, in the exponent form, is a number: saving the screen
    // again reads it back from its own text.
    for (const std::string price : {"7,74860418548935E-304", "1,79769313486232E+308", "-2,5E-07"}) {
        const Run_Result exponent = Verb("fuel set 5 Газ " + price);
        EXPECT_EQ(exponent.exit_code, 0) << price << exponent.err;
        EXPECT_TRUE(Has(exponent.out, "5\tГаз\t" + price + "\t")) << exponent.out;
        const Run_Result again = Verb("fuel set 7 Мазут");
        EXPECT_EQ(again.exit_code, 0) << again.err;
        EXPECT_TRUE(Has(again.out, "5\tГаз\t" + price + "\t")) << again.out;
    }
}

TEST_F(Catalogue_Verbs, StationSetWritesAllSixteen) {
    const Run_Result set = Verb("station set 16 'АЗС на выезде'");
    ASSERT_EQ(set.exit_code, 0) << set.err;
    EXPECT_TRUE(Has(set.out, "16\tАЗС на выезде\n")) << set.out;
    const std::string stations = Read("Establishments.dat");
    ASSERT_EQ(stations.size(), 16u * 256);
    for (std::size_t slot = 0; slot < 16; ++slot)
        EXPECT_EQ(stations[slot * 256], 1) << slot;
}

TEST_F(Catalogue_Verbs, VolumeAddRefusesLikeTheScreen) {
    // 50 is a standard volume, 25 declared already, 12 only once.
    const Run_Result add = Verb("volume add 50 25 12 12");
    ASSERT_EQ(add.exit_code, 0) << add.err;
    EXPECT_TRUE(Has(add.out, "declared: 1\n")) << add.out;
    EXPECT_TRUE(Has(add.out, "\t12\n")) << add.out;
    EXPECT_FALSE(Has(add.out, "\t50\n")) << add.out;

    // Fill up to the limit: the installation has 4 volumes now, 196 more fit.
    std::string many;
    for (int litres = 101; litres <= 296; ++litres)
        many += " " + std::to_string(litres);
    const Run_Result full = Verb("volume add" + many);
    ASSERT_EQ(full.exit_code, 0) << full.err;
    const Run_Result over = Verb("volume add 297");
    EXPECT_EQ(over.exit_code, 1);
    EXPECT_TRUE(Has(over.err, "невозможно задать более 200 пользовательских литражей!"))
        << over.err;
    EXPECT_EQ(Read("UsVol.dat").size(), 200u * 16);
}

} // namespace
} // namespace td::test
