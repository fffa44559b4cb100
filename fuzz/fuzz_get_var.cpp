// Feeds arbitrary bytes to the td.ini reader as the text of the file. Besides crashes and
// sanitizer reports it checks what every found value must be: trimmed, one line, and free of the
// comment characters.
#include "base/codepage.h"
#include "kernel/settings.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace {

void Check(const std::optional<std::string>& value) {
    if (!value)
        return;
    if (value->find_first_of("#'/\r\n") != std::string::npos)
        __builtin_trap();
    if (!value->empty() && (value->front() == ' ' || value->back() == ' '))
        __builtin_trap();
    // A value that isn't UTF-8 is read as code page 1251.
    (void)td::Cp1251_To_Utf8(*value);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    static constexpr const char* sections[] = {td::Settings_Section, "TALLY DEPOT BETA", "end", "",
                                               "x"};
    static constexpr const char* keys[] = {"Database", "DATABASES", "CS_PATH", "", "=", "["};
    for (const char* section : sections)
        for (const char* key : keys)
            Check(td::Find_Setting(text, section, key));
    return 0;
}
