#include "browsers/sell_ticets.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "kernel/fatal.h"
#include "kernel/state.h"
#include "kernel/unhandled.h"
#include "storage/record_file.h"

#include <cmath>
#include <vector>

namespace td {

namespace {

constexpr Browser_Frame::Layout Frame_Layout{.settings_prefix = Sell_Ticets::Settings_Prefix,
                                             .rows = 2,
                                             .cols = 12,
                                             .name_col = 2,
                                             .first_data_col = 3};
constexpr double Progress_Interval = 0.5;
// The error number the system gave for an index out of range: the deferred list overflowing.
constexpr long Out_Of_Range_Error = 9;

bool No_Subgroup(const std::string& trimmed) {
    return trimmed.empty() || trimmed == "000";
}

// Code text of a number as the system took it: the leading number, "0" when there is none.
std::string Sort_Key(const std::string& code) {
    return Format_Number(Leading_Number(code));
}

// The first pieces of a node key below the root: level 1 code `a`, level 2 code `b`.
void Split_Key(const std::string& key, std::string& a, std::string& b) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (start <= key.size()) {
        std::size_t slash = key.find('\\', start);
        if (slash == std::string::npos) {
            pieces.push_back(key.substr(start));
            break;
        }
        pieces.push_back(key.substr(start, slash - start));
        start = slash + 1;
    }
    a = pieces.size() > 1 ? pieces[1] : "";
    b = pieces.size() > 2 ? pieces[2] : "";
}

} // namespace

std::string Parent_Key_Of(const std::string& key) {
    if (key == Sell_Ticets::Root_Key || key.size() < 2)
        return Sell_Ticets::Root_Key;
    std::size_t slash = key.rfind('\\', key.size() - 2);
    if (slash == std::string::npos)
        return Sell_Ticets::Root_Key;
    return key.substr(0, slash + 1);
}

Sell_Ticets::Sell_Ticets(Program_State& state, Ui& ui, Clock& clock, User_Settings& settings,
                         Browser_Shell* shell)
    : Browser_Frame(Frame_Layout, state, ui, clock, settings, shell) {}

const std::string& Sell_Ticets::Current_Key() const {
    return state_.Current_Node_Key;
}

void Sell_Ticets::Gate_Progress(double& last, int value) {
    double now = clock_.Seconds_Since_Midnight();
    // The clock wraps at midnight: the distance counts, not its sign.
    if (std::fabs(now - last) < Progress_Interval)
        return;
    last = now;
    ui_.Search_Progress_Set(value);
    ui_.Pump_Events();
}

void Sell_Ticets::Add_Node(const Company_Record& record, int& error) {
    std::string code = Trim_Text(record.Code);
    std::string group = Trim_Text(record.Group_Code);
    std::string subgroup = Trim_Text(record.Subgroup_Code);
    std::string name = Trim_Text(record.Name);
    std::string root = Root_Key;
    if (!No_Subgroup(subgroup)) {
        std::string parent = root + group + "\\" + subgroup + "\\";
        error = TreeView1.Add(parent, parent + code + "\\", name);
    } else if (group.empty()) {
        error = TreeView1.Add(root, root + code + "\\", name);
    } else {
        std::string parent = root + group + "\\";
        error = TreeView1.Add(parent, parent + code + "\\", name);
    }
}

bool Sell_Ticets::Form_Load() {
    state_.Buyer_Browser_Open = true;
    TreeView1.Clear();
    TreeView1.Add("", Root_Key, "Клиенты");
    state_.Current_Node_Key = Root_Key;

    ui_.Main_Window_Enabled(false);
    ui_.Search_Progress_Show("Построение списка");

    std::vector<const Company_Record*> deferred;
    const long last = state_.Company_Count - 1;
    double shown = clock_.Seconds_Since_Midnight();
    for (long number = 1; number <= last; ++number) {
        if (number >= static_cast<long>(state_.Company_Table.size()))
            break;
        const Company_Record& record = state_.Company_Table[static_cast<std::size_t>(number)];
        int error = 0;
        Add_Node(record, error);
        if (error == Tree::Unknown_Key) {
            if (deferred.size() >= Deferred_Limit) {
                // The list is full: the index runs out of range inside the handling of the
                // unknown parent, where nothing catches it. The run ends with the ordinary
                // unhandled failure, not the opening's fatal path.
                Unhandled_Failure(ui_, Out_Of_Range_Error, "Subscript out of range");
            }
            deferred.push_back(&record);
        } else if (error != 0) {
            Fatal_Error(ui_, fatal_site::Sell_Load_Module,
                        std::string(fatal_site::Sell_Load_Code) + Hex_Number(error));
            return false;
        } else if (No_Subgroup(Trim_Text(record.Subgroup_Code)) &&
                   Trim_Text(record.Group_Code).empty()) {
            TreeView1.Set_Sorted(std::string(Root_Key) + Trim_Text(record.Code) + "\\", true);
        }
        if (number < last)
            Gate_Progress(shown, static_cast<int>(100 * number / last));
    }
    // One more try each, in the order of deferral; what still has no parent stays out.
    for (const Company_Record* record : deferred) {
        int ignored = 0;
        Add_Node(*record, ignored);
    }

    ui_.Search_Progress_Hide();
    ui_.Main_Window_Enabled(true);
    TreeView1.Set_Sorted(Root_Key, true);
    TreeView1_NodeClick(Root_Key);

    Label1 = "Текущая дата: " + Format_Date(state_.Current_Date);
    Restore_Widths();
    return true;
}

void Sell_Ticets::TreeView1_NodeClick(const std::string& key) {
    ui_.Main_Window_Enabled(false);
    ui_.Search_Progress_Show("");

    std::string a;
    std::string b;
    Split_Key(key, a, b);
    int node = TreeView1.Find(key);
    TreeView1.Set_Image(key, node >= 0 && TreeView1.Node(node).expanded ? "fo" : "fc");

    Grid& grid = MSFlexGrid1;
    grid.Set_Visible(false);
    grid.Set_Rows(2);
    grid.Clear();
    grid.Set_Column_Width(0, 11);
    grid.Set_Text(0, 1, "Код");
    grid.Set_Text(0, 2, "Наименование");

    Fuel_Headers();
    Restore_Widths();

    grid.Set_Text(1, 2, node >= 0 ? TreeView1.Node(node).text : "");
    grid.Set_Icon(1, 0, "2");
    grid.Set_Bold(1, 1, true);
    grid.Set_Bold(1, 2, true);
    if (key == Root_Key) {
        grid.Set_Text(1, 1, "1");
    } else {
        grid.Set_Text(1, 1, "1:" + a + (b.empty() ? "" : ":" + b));
        grid.Set_Text(1, Sort_Key_Col, Sort_Key(b.empty() ? a : b));
    }

    // Both files in one read each; the scan keeps file order, which is the order of the rows.
    Record_File companies(state_.Path_Of(state_.settings.Company_File), Company_Record_Size,
                          Record_File::Mode::Read_Only);
    Record_File totals(state_.Path_Of(state_.settings.Cache_Diff_File), Cache_Record_Size,
                       Record_File::Mode::Read_Only);
    const std::uint64_t company_records = companies.Record_Count();
    std::vector<std::uint8_t> company_bytes(company_records * Company_Record_Size);
    if (company_records > 0 && !companies.Read_Block(1, company_records, company_bytes.data()))
        company_bytes.clear();
    const std::uint64_t total_records = totals.Record_Count();
    std::vector<std::uint8_t> total_bytes(total_records * Cache_Record_Size);
    if (total_records > 0 && !totals.Read_Block(1, total_records, total_bytes.data()))
        total_bytes.assign(total_bytes.size(), 0);

    const std::string root = Root_Key;
    double shown = clock_.Seconds_Since_Midnight();
    const std::size_t count = company_bytes.size() / Company_Record_Size;
    for (std::size_t i = 0; i < count; ++i) {
        const Company_View company(company_bytes.data() + i * Company_Record_Size);
        if (!company.Exists())
            break;
        const long number = static_cast<long>(i) + 1;
        // Only the codes decide; the name is decoded for the rows that are listed.
        std::string group = Trim_Text(company.Group_Code());
        std::string subgroup = Trim_Text(company.Subgroup_Code());
        bool listed = false;
        bool amounts = false;
        bool has_children = false;
        std::string path;
        std::string code;
        if (!No_Subgroup(subgroup)) {
            if (group == a && subgroup == b) {
                code = Trim_Text(company.Code());
                listed = amounts = true;
                path = "1:" + group + ":" + subgroup + ":" + code;
            }
        } else if (group.empty()) {
            if (a.empty()) {
                code = Trim_Text(company.Code());
                listed = true;
                path = "1:" + code;
                has_children = TreeView1.Children(root + code + "\\") > 0;
            }
        } else if (group == a && b.empty()) {
            code = Trim_Text(company.Code());
            listed = amounts = true;
            path = "1:" + group + ":" + code;
            has_children = TreeView1.Children(root + group + "\\" + code + "\\") > 0;
        }
        if (listed) {
            std::string row = has_children ? "+" : "";
            row += "\t" + path + "\t" + Trim_Text(company.Name());
            Cache_Record record;
            if (amounts && i < total_records)
                record = Decode_Cache(total_bytes.data() + i * Cache_Record_Size);
            for (int slot = 1; slot <= Fuel_Slots; ++slot) {
                row += "\t";
                if (amounts)
                    row += Format_Number(record.Fuel_Total[static_cast<std::size_t>(slot)]);
            }
            row += "\t" + Sort_Key(code);
            grid.Add_Item(row);
            grid.Set_Icon(grid.Rows() - 1, 0, "1");
        }
        Gate_Progress(shown, static_cast<int>(100 * number / (state_.Company_Count + 1)));
    }

    for (int col = 0; col < grid.Cols(); ++col)
        grid.Set_Bold(0, col, true);
    grid.Set_Visible(true);
    ui_.Search_Progress_Hide();
    ui_.Main_Window_Enabled(true);
}

void Sell_Ticets::MSFlexGrid1_DblClick() {
    Grid& grid = MSFlexGrid1;
    if (grid.Col() != 0)
        return;
    if (grid.Row() == 1) {
        if (state_.Current_Node_Key == Root_Key)
            return;
        TreeView1.Set_Expanded(state_.Current_Node_Key, false);
        if (state_.Parent_Node_Key == Root_Key)
            TreeView1.Set_Expanded(Root_Key, true);
        std::string parent = state_.Parent_Node_Key;
        TreeView1_NodeClick(parent);
        state_.Current_Node_Key = parent;
        state_.Parent_Node_Key = Parent_Key_Of(parent);
        return;
    }
    int node = TreeView1.First_By_Text(Trim_Text(grid.Text(grid.Row(), 2)));
    if (node < 0)
        return;
    std::string key = TreeView1.Node(node).key;
    if (TreeView1.Children(key) <= 0)
        return;
    state_.Current_Node_Key = key;
    state_.Parent_Node_Key = Parent_Key_Of(key);
    TreeView1.Set_Expanded(key, true);
    TreeView1_NodeClick(key);
}

Buyer_Popup Sell_Ticets::MSFlexGrid1_Click() {
    const Grid& grid = MSFlexGrid1;
    Buyer_Popup popup;
    if (grid.Row() > 0 && grid.Col() > 0 && grid.Col() < state_.Fuel_Count + 3 &&
        Count_Char(grid.Text(grid.Row(), 1), ":") > 1) {
        popup.show = true;
        popup.enable_statistics = true;
    }
    return popup;
}

namespace {

// Characters of a UTF-8 text: the bytes that start one.
std::size_t Utf8_Length(const std::string& text) {
    std::size_t count = 0;
    for (unsigned char byte : text)
        count += (byte & 0xC0) != 0x80 ? 1 : 0;
    return count;
}

} // namespace

std::vector<Browser_Frame::Fitted_Column> Sell_Ticets::First_Layout_Texts() const {
    // Code paths as the node click writes them: "1:" and the codes from the highest down.
    std::string code_path = "1";
    std::string name = TreeView1.Count() > 0 ? "Клиенты" : "";
    auto longer = [](const std::string& a, const std::string& b) {
        return Utf8_Length(b) > Utf8_Length(a);
    };
    for (const Company_Record& record : state_.Company_Table) {
        if (record.Exists != 1)
            continue;
        std::string code = Trim_Text(record.Code);
        std::string group = Trim_Text(record.Group_Code);
        std::string subgroup = Trim_Text(record.Subgroup_Code);
        std::string path = "1:";
        if (!subgroup.empty() && subgroup != "000")
            path += group + ":" + subgroup + ":" + code;
        else if (!group.empty())
            path += group + ":" + code;
        else
            path += code;
        if (longer(code_path, path))
            code_path = path;
        std::string trimmed = Trim_Text(record.Name);
        if (longer(name, trimmed))
            name = trimmed;
    }
    return {{1, code_path}, {2, name}};
}

Browser_Popup Sell_Ticets::Popup_For_Click() {
    const Buyer_Popup click = MSFlexGrid1_Click();
    return {"mnu_popup",
            click.show,
            {{"mnu_popup_sell", true},
             {"mnu_popup_release_sell", true},
             {"mnu_set_curr_date_sell", true},
             {"mnu_popup_user_stat", click.enable_statistics},
             {"mnu_popup_user_stat_range", click.enable_statistics}}};
}

void Sell_Ticets::Sort(Sort_Order order) {
    // Row 1 (the node itself) stays; codes sort by their numbers in the hidden key column.
    Grid& grid = MSFlexGrid1;
    if (grid.Rows() < 4)
        return;
    if (grid.Col() == 1) {
        grid.Sort(2, grid.Rows() - 1, Sort_Key_Col, order);
        grid.Set_Col(1);
    } else {
        grid.Sort(2, grid.Rows() - 1, grid.Col(), order);
    }
}

void Sell_Ticets::Sort_Asc() {
    Sort(Sort_Order::Ascending);
}

void Sell_Ticets::Sort_Des() {
    Sort(Sort_Order::Descending);
}

void Sell_Ticets::Key_Ctrl_Digit(int digit) {
    Grid& grid = MSFlexGrid1;
    if (grid.Rows() < 4)
        return;
    if (digit == 1)
        grid.Sort(2, grid.Rows() - 1, Sort_Key_Col, Sort_Order::Ascending);
    else if (digit == 2)
        grid.Sort(2, grid.Rows() - 1, 2, Sort_Order::Ascending);
}

void Sell_Ticets::Unloading() {
    state_.Buyer_Browser_Open = false;
}

void Sell_Ticets::Date_Changed(double date) {
    Label1 = "На текущую дату: " + Format_Date(date);
    int row = MSFlexGrid1.Row();
    int col = MSFlexGrid1.Col();
    TreeView1_NodeClick(state_.Current_Node_Key);
    MSFlexGrid1.Set_Row(row);
    MSFlexGrid1.Set_Col(col);
}

} // namespace td
