// The registry-file section of the bvcore tour: a small key exported in the registry editor's
// format, as it would move to another machine.
#include "RegCommand.h"
#include "RegFile.h"
#include "TourSections.h"

#include <bvplatform/registry.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace bvtool {

namespace {

int Reg(std::vector<std::string> words) {
    reg::Console io;
    io.confirm = [](const std::string&) { return true; };
    const int rc = reg::Run(words, io);
    std::fputs(io.err.c_str(), stdout);
    return rc;
}

// Prints a UTF-16LE file with its byte-order mark dropped and CRLF shown as line ends.
void PrintUtf16File(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::u16string text;
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
        const char16_t c = char16_t(std::uint8_t(bytes[i]) | std::uint8_t(bytes[i + 1]) << 8);
        if (c != u'\r') {
            text += c;
        }
    }
    std::string narrow = regfile::Narrow(text);
    for (std::size_t at = 0, end; at < narrow.size(); at = end + 1) {
        end = std::min(narrow.find('\n', at), narrow.size());
        std::printf("    | %s\n", narrow.substr(at, end - at).c_str());
    }
}

} // namespace

void TourRegFile() {
    std::printf("\n== Registry files\n");
    const std::string key = "HKCU\\Software\\Brontavale Tour\\Export";
    const std::string file =
        (std::filesystem::temp_directory_path() / "bvcore-tour-export.reg").string();
    const bool made = Reg({"add", key, "/ve", "/d", "Player settings", "/f"}) == 0 &&
                      Reg({"add", key, "/v", "Volume", "/t", "REG_DWORD", "/d", "42", "/f"}) == 0 &&
                      Reg({"add", key, "/v", "Recent", "/t", "REG_MULTI_SZ", "/d",
                           "a \"quoted\" name\\0C:\\Music", "/f"}) == 0 &&
                      Reg({"export", key, file, "/y"}) == 0;
    if (made) {
        std::printf("  bvcore reg export %s %s  (UTF-16LE, shown here as UTF-8):\n", key.c_str(),
                    file.c_str());
        PrintUtf16File(file);
    }
    Reg({"delete", "HKCU\\Software\\Brontavale Tour", "/f"});
    std::error_code ec;
    std::filesystem::remove(file, ec);
}

} // namespace bvtool
