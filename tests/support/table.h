/* Tables of cases in text files. */
#pragma once

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using Row = std::vector<std::string>;

/* A row a line, its cells between "|", without the blanks around them; a row that is shorter is
 * filled up with empty cells. Lines that begin with '#' and empty lines are left out. */
inline std::vector<Row> table(const std::string &name, size_t columns)
{
    std::vector<Row> rows;
    std::ifstream file(KELTO_TABLES "/" + name);
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream cells(line);
        Row row;
        for (std::string cell; std::getline(cells >> std::ws, cell, '|');)
            row.push_back(cell.substr(0, cell.find_last_not_of(' ') + 1));
        row.resize(std::max(columns, row.size()));
        rows.push_back(row);
    }
    if (rows.empty()) throw std::runtime_error("there is no table " + name);
    return rows;
}

/* \r, \n, \s (a blank), \0, \1 and \xff stand for a byte. */
inline std::string unescaped(std::string text)
{
    for (const auto &[mark, byte] : {std::pair("\\r", '\r'),
                                     {"\\n", '\n'},
                                     {"\\s", ' '},
                                     {"\\0", '\0'},
                                     {"\\1", '\1'},
                                     {"\\xff", '\xff'}}) {
        for (size_t at; (at = text.find(mark)) != text.npos;)
            text.replace(at, strlen(mark), 1, byte);
    }
    return text;
}
