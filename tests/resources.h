/* The routes and records of resources.txt. */
#pragma once

#include <cctype>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "server/lighttpd.h"

namespace resources {

constexpr http_method_t GET = HTTP_METHOD_GET, POST = HTTP_METHOD_POST;
constexpr http_method_t PUT = HTTP_METHOD_PUT, DELETE = HTTP_METHOD_DELETE;

struct Field {
    size_t at;
    std::string key, value;
    char kind; /* of value: ' u # ~ [ {, or b: a flag, i: an int32 */
};
using Fields = std::vector<Field>;

struct Action {
    http_method_t method;
    std::string kind; /* the way in which it answers */
    uint32_t command;
};

struct Route {
    std::string path;
    std::vector<Action> actions; /* in the order of "Allow" */
    size_t size;                 /* of the record */
    Fields fields;
};

/* What the file says, line by line. */
class File {
public:
    File()
    {
        std::ifstream file(KELTO_TABLES "/resources.txt");
        for (std::string line; std::getline(file, line);) add(line);
    }

    std::map<std::string, Fields> records;
    std::vector<Route> routes;

private:
    static Field field_at(size_t at, std::istringstream &words)
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

    static Action action(const std::string &method, std::istringstream &words)
    {
        static const std::map<std::string, http_method_t> methods = {
            {"GET", GET}, {"POST", POST}, {"PUT", PUT}, {"DELETE", DELETE}};
        Action action = {methods.at(method), "", 0};
        words >> action.kind >> action.command;
        return action;
    }

    void add(const std::string &line)
    {
        std::istringstream words(line);
        std::string first, name, until, key;
        if (!(words >> first) || first == "#") return;
        if (first == "record") {
            words >> name;
            fields = &records[name];
        } else if (first == "as") {
            words >> name >> until >> key;
            for (const Field &field : records.at(name)) {
                if (field.key == key) return;
                fields->push_back(field);
            }
        } else if (first == "route") {
            Route &route = routes.emplace_back();
            words >> route.path >> route.size >> name;
            if (!name.empty()) route.fields = records.at(name);
        } else if (isdigit(static_cast<unsigned char>(first[0]))) {
            fields->push_back(field_at(std::stoul(first), words));
        } else {
            routes.back().actions.push_back(action(first, words));
        }
    }

    Fields *fields = nullptr; /* of the record that is being read */
};

inline const File &file()
{
    static const File read;
    return read;
}

inline const std::vector<Route> &all_routes()
{
    return file().routes;
}
inline const Fields &record(const std::string &name)
{
    return file().records.at(name);
}

} // namespace resources
