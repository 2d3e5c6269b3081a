#include "tests/resources.h"

#include <cctype>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

namespace resources {

namespace {

struct Table {
    std::map<std::string, Fields> records;
    std::vector<Route> routes;
};

Field field_at(size_t at, std::istringstream &words)
{
    Field field = {at, "", "", 'i'};
    words >> field.key >> std::ws;
    std::getline(words, field.value);
    const char first = field.value[0], last = field.value.back();
    if (isalpha(first)) field.kind = 'b';
    if (strchr("'u#~[{", first)) {
        const bool closed = strchr("']}", last);
        field = {at, field.key, field.value.substr(1, field.value.size() - 1 - closed), first};
    }
    return field;
}

Action action(const std::string &method, std::istringstream &words)
{
    static const std::map<std::string, http_method_t> methods = {
        {"GET", GET}, {"POST", POST}, {"PUT", PUT}, {"DELETE", DELETE}};
    Action action = {methods.at(method), "", 0};
    words >> action.kind >> action.command;
    return action;
}

void add_line(Table &table, Fields *&fields, const std::string &line)
{
    std::istringstream words(line);
    std::string first, name, until, key;
    if (!(words >> first) || first == "#") return;
    if (first == "record") {
        words >> name;
        fields = &table.records[name];
    } else if (first == "as") {
        words >> name >> until >> key;
        for (const Field &field : table.records.at(name)) {
            if (field.key == key) return;
            fields->push_back(field);
        }
    } else if (first == "route") {
        Route route = {};
        words >> route.path >> route.size >> name;
        if (!name.empty()) route.fields = table.records.at(name);
        table.routes.push_back(route);
    } else if (isdigit(static_cast<unsigned char>(first[0]))) {
        fields->push_back(field_at(std::stoul(first), words));
    } else {
        table.routes.back().actions.push_back(action(first, words));
    }
}

const Table &table()
{
    static const Table all = [] {
        Table table;
        Fields *fields = nullptr;
        std::ifstream file(KELTO_RESOURCES);
        for (std::string line; std::getline(file, line);) add_line(table, fields, line);
        return table;
    }();
    return all;
}

} // namespace

const std::vector<Route> &all_routes()
{
    return table().routes;
}

const Fields &record(const std::string &name)
{
    return table().records.at(name);
}

} // namespace resources
