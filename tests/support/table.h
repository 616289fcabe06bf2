// SPDX-License-Identifier: ISC
// Tables of the documents: what they tell is what the tests expect.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// A cell without the blanks or the outermost code marks around it; "\x1B" stands for one octet, and
// "\r" and "\n" for theirs.
inline std::string tablecell(const std::string &cell)
{
    const char around = cell.find('`') == std::string::npos ? ' ' : '`';
    const std::size_t begin = cell.find(around) + 1;
    const std::size_t end = cell.rfind(around);
    std::string text =
        begin < end && end != std::string::npos ? cell.substr(begin, end - begin) : "";
    for (std::size_t at = 0; (at = text.find('\\', at)) != std::string::npos; at++) {
        const bool isoctet = text[at + 1] == 'x';
        const char octet = text[at + 1] == 'r' ? '\r' : '\n';
        text.replace(
            at, isoctet ? 4 : 2, 1,
            isoctet ? static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16)) : octet);
    }
    return text;
}

// The rows of the table below a heading "## ..." of a document, without its head.
inline std::vector<std::vector<std::string>> readtable(const std::string &document,
                                                       const std::string &heading)
{
    std::vector<std::vector<std::string>> rows;
    std::ifstream file(DOCUMENTS "/" + document);
    std::string line;
    while (std::getline(file, line) && line != "## " + heading)
        continue;
    while (std::getline(file, line) && !line.starts_with("## ")) {
        if (!line.starts_with('|')) continue;
        std::istringstream cells(line.substr(1));
        rows.emplace_back();
        for (std::string cell; std::getline(cells, cell, '|');)
            rows.back().push_back(tablecell(cell));
    }
    if (rows.size() > 2) rows.erase(rows.begin(), rows.begin() + 2);
    return rows;
}
