#include "support/RefData.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#ifndef BV_TEST_DATA_DIR
#error "BV_TEST_DATA_DIR must name tests/data"
#endif

namespace bvtest {

bool RefRow::CommentHas(const std::string& text) const {
    for (const auto& c : comments) {
        if (c.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

RefTable RefTable::Load(const std::string& fileName) {
    const std::string path = std::string(BV_TEST_DATA_DIR) + "/platform-reference/" + fileName;
    std::ifstream in(path);
    if (!in) {
        std::fprintf(stderr, "missing reference file %s\n", path.c_str());
        std::abort();
    }
    RefTable table;
    std::vector<std::string> pending;
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (line.empty()) {
            continue;
        }
        if (line[0] == '#') {
            pending.push_back(line.substr(1));
            continue;
        }
        const auto tab = line.find('\t');
        if (tab == std::string::npos) {
            continue;
        }
        table.m_rows.push_back({line.substr(0, tab), line.substr(tab + 1), pending, number});
        pending.clear();
    }
    return table;
}

std::vector<RefRow> RefTable::WithPrefix(const std::string& prefix) const {
    std::vector<RefRow> out;
    for (const auto& row : m_rows) {
        if (row.key.compare(0, prefix.size(), prefix) == 0) {
            out.push_back(row);
        }
    }
    return out;
}

std::optional<RefRow> RefTable::Find(const std::string& key) const {
    for (const auto& row : m_rows) {
        if (row.key == key) {
            return row;
        }
    }
    return std::nullopt;
}

std::int64_t RefNumber(const RefTable& table, const std::string& key) {
    const std::optional<RefRow> row = table.Find(key);
    EXPECT_TRUE(row.has_value()) << "no reference row " << key;
    return row ? ParseNumber(row->value) : -1;
}

std::u16string ParseUtf16(const std::string& quoted) {
    if (quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"') {
        throw std::invalid_argument("not a quoted text: " + quoted);
    }
    std::u16string out;
    for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
        const char c = quoted[i];
        if (c != '\\') {
            out.push_back(static_cast<unsigned char>(c));
            continue;
        }
        const char next = quoted[++i];
        if (next == 'u') {
            out.push_back(static_cast<char16_t>(std::stoul(quoted.substr(i + 1, 4), nullptr, 16)));
            i += 4;
        } else {
            out.push_back(static_cast<unsigned char>(next));
        }
    }
    return out;
}

std::string ParseHex(const std::string& value) {
    if (value.compare(0, 4, "hex:") != 0) {
        throw std::invalid_argument("not a hex value: " + value);
    }
    std::string out;
    for (std::size_t i = 4; i + 1 < value.size(); i += 2) {
        out.push_back(static_cast<char>(std::stoul(value.substr(i, 2), nullptr, 16)));
    }
    return out;
}

std::int64_t ParseNumber(const std::string& value) {
    if (value.compare(0, 2, "0x") == 0) {
        return static_cast<std::int64_t>(std::stoull(value.substr(2), nullptr, 16));
    }
    return std::stoll(value);
}

char16_t ParseUnit(const std::string& value) {
    if (value.compare(0, 2, "U+") != 0) {
        throw std::invalid_argument("not a unit: " + value);
    }
    return static_cast<char16_t>(std::stoul(value.substr(2), nullptr, 16));
}

std::vector<std::string> SplitKey(const std::string& key) {
    std::vector<std::string> parts;
    std::string current;
    bool quoted = false;
    for (std::size_t i = 0; i < key.size(); ++i) {
        const char c = key[i];
        if (quoted && c == '\\' && i + 1 < key.size()) {
            current += c;
            current += key[++i];
            continue;
        }
        if (c == '"') {
            quoted = !quoted;
        }
        if (c == '.' && !quoted) {
            parts.push_back(current);
            current.clear();
            continue;
        }
        current += c;
    }
    parts.push_back(current);
    return parts;
}

std::string Show(const std::u16string& text) {
    std::string out = "\"";
    for (char16_t u : text) {
        if (u == '\\' || u == '"') {
            out += '\\';
            out += static_cast<char>(u);
        } else if (u >= 0x20 && u <= 0x7E) {
            out += static_cast<char>(u);
        } else {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04X", static_cast<unsigned>(u));
            out += buf;
        }
    }
    return out + "\"";
}

std::string ShowHex(const std::string& bytes) {
    std::string out = "hex:";
    for (unsigned char b : bytes) {
        char buf[4];
        std::snprintf(buf, sizeof buf, "%02x", b);
        out += buf;
    }
    return out;
}

} // namespace bvtest
