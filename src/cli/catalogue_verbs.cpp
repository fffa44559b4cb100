#include "cli/catalogue_verbs.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/text.h"
#include "catalogues/clm_form.h"
#include "catalogues/establishmts.h"
#include "catalogues/usr_vol.h"
#include "kernel/startup.h"
#include "storage/file_failure.h"
#include "storage/records.h"
#include "storage/reference.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace td::cli {

namespace {

// A slot number within 1..last, or the verb fails.
int Slot_Argument(const std::string& verb, const std::string& text, int last) {
    char* end = nullptr;
    long value = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || value < 1 || value > last)
        Fail(verb, "'" + text + "' is not a slot number from 1 to " + std::to_string(last), 2);
    return static_cast<int>(value);
}

// What the screens take: a text with a comma must convert in the regional format; any other
// text gives its leading number.
bool Converts(const std::string& text) {
    std::string trimmed = Trim_Text(text);
    return trimmed.find(',') == std::string::npos || Regional_Number(trimmed).has_value();
}

int Fuel(const Arguments& args) {
    bool set = !args.rest.empty();
    int slot = 0;
    if (set) {
        if (args.rest[0] != "set" || args.rest.size() < 3 || args.rest.size() > 4)
            Fail("fuel", "usage: tdctl fuel [set SLOT NAME [PRICE]]", 2);
        slot = Slot_Argument("fuel", args.rest[1], Fuel_Slots);
        // On the screen such a price ends the run; here it is a bad argument, refused first.
        if (args.rest.size() == 4 && !Converts(args.rest[3]))
            Fail("fuel", "'" + args.rest[3] + "' is not a price: a comma needs a number around it",
                 2);
    }
    Session session(args.home);
    Program_State& state = session.State();
    if (set) {
        // Through the screen: the other slots are saved as they load, as a save on the screen
        // with one row changed would.
        CLM_Form form(state, session.Ui(), session.Clock());
        form.Form_Load();
        form.MSFlexGrid1.Set_Text(slot, 0, args.rest[2]);
        if (args.rest.size() == 4)
            form.MSFlexGrid1.Set_Text(slot, 1, args.rest[3]);
        // The screen has said why (a price that is no number, a file that can't be written).
        if (!form.Command1_Click())
            session.Shutdown("nothing more was saved");
    }
    std::vector<Fuel_Record> slots = Read_Fuel_Slots(state.Path_Of(state.settings.Fuel_File));
    for (int i = 1; i <= Fuel_Slots; ++i) {
        const Fuel_Record& record = slots[static_cast<std::size_t>(i - 1)];
        std::printf("%d\t%s\t%s\t%s\n", i, Trim_Text(record.Name).c_str(),
                    Format_Number(record.Price).c_str(),
                    record.Price_Date == 0.0 ? "" : Format_Date(record.Price_Date).c_str());
    }
    session.Shutdown();
}

int Station(const Arguments& args) {
    bool set = !args.rest.empty();
    int slot = 0;
    if (set) {
        if (args.rest[0] != "set" || args.rest.size() != 3)
            Fail("station", "usage: tdctl station [set SLOT NAME]", 2);
        slot = Slot_Argument("station", args.rest[1], Station_Slots);
    }
    Session session(args.home);
    Program_State& state = session.State();
    if (set) {
        Establishmts form(state);
        form.Form_Load();
        form.MSFlexGrid1.Set_Text(slot, 1, args.rest[2]);
        if (!form.Command1_Click())
            session.Shutdown("cannot write " + form.save_failure.Text());
    }
    std::vector<Name_Record> names =
        Read_Name_Records(state.Path_Of(state.settings.Establishments_File), Station_Slots);
    for (int i = 1; i <= Station_Slots; ++i)
        std::printf("%d\t%s\n", i, Trim_Text(names[static_cast<std::size_t>(i - 1)].Name).c_str());
    session.Shutdown();
}

int Volume(const Arguments& args) {
    bool add = !args.rest.empty();
    if (add && (args.rest[0] != "add" || args.rest.size() < 2))
        Fail("volume", "usage: tdctl volume [add LITRES...]", 2);
    std::vector<std::string> litres;
    for (std::size_t i = 1; add && i < args.rest.size(); ++i) {
        // The screen's keys let through digits, comma and point, three at most.
        const std::string& text = args.rest[i];
        bool typable = !text.empty() && text.size() <= 3 &&
                       text.find_first_not_of("0123456789,.") == std::string::npos;
        if (!typable || !Converts(text))
            Fail("volume", "'" + text + "' is not a volume of up to three digits, comma or point",
                 2);
        litres.push_back(text);
    }
    Session session(args.home);
    Program_State& state = session.State();
    std::string file = state.Path_Of(state.settings.User_Volume_File);
    if (add) {
        std::size_t before = Read_User_Volumes(file).size();
        Usr_Vol form(state, session.Ui());
        form.Form_Load();
        form.MSFlexGrid1.Set_Rows(static_cast<int>(litres.size()) + 1);
        for (std::size_t i = 0; i < litres.size(); ++i) {
            int row = static_cast<int>(i) + 1;
            form.MSFlexGrid1.Set_Text(row, 0, std::to_string(row));
            form.MSFlexGrid1.Set_Text(row, 1, litres[i]);
        }
        bool finished = form.Command2_Click();
        std::size_t after = Read_User_Volumes(file).size();
        std::printf("declared: %zu\n", after - before);
        if (!finished)
            session.Shutdown("the volumes after those declared were not saved");
    }
    std::vector<double> volumes = Read_User_Volumes(file);
    for (std::size_t i = 0; i < volumes.size(); ++i)
        std::printf("%zu\t%s\n", i + 1, Format_Number(volumes[i]).c_str());
    session.Shutdown();
}

} // namespace

int Run_Catalogue_Verb(const Arguments& args) {
    if (args.verb == "fuel")
        return Fuel(args);
    if (args.verb == "station")
        return Station(args);
    if (args.verb == "volume")
        return Volume(args);
    return -1;
}

} // namespace td::cli
