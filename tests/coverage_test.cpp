/* No route of the module is left out of resources.txt, by which the others test. */
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "module/routes.h"
#include "tests/resources.h"

namespace {

TEST(Coverage, EveryRouteIsTestedWithEveryMethod)
{
    std::map<std::string, std::set<int>> tested;
    for (const resources::Route &route : resources::all_routes()) {
        for (const resources::Action &action : route.actions)
            tested[route.path].insert(action.method);
    }
    for (size_t i = 0; i < route_count; ++i) {
        std::string path(routes[i].path);
        const std::string id = "([0-9]+)$";
        if (path[0] == '^') path = path.substr(1, path.find(id) - 1) + "12";
        std::set<int> methods;
        for (const Action &action : routes[i].actions) {
            if (action.handler || action.id_handler) methods.insert(action.method);
        }
        EXPECT_EQ(tested[path], methods) << path << " in tests/resources.txt";
    }
    EXPECT_EQ(resources::all_routes().size(), route_count);
}

} // namespace
