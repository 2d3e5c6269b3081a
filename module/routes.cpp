#include "module/routes.h"

#include <regex.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "handlers/handlers.h"
#include "reply/text.h"

namespace {
constexpr http_method_t GET = HTTP_METHOD_GET;
constexpr http_method_t POST = HTTP_METHOD_POST;
constexpr http_method_t PUT = HTTP_METHOD_PUT;
constexpr http_method_t DELETE = HTTP_METHOD_DELETE;
} // namespace

constexpr Route routes[] = {
    {"/api/stream", "GET,POST", {{GET, handle_stream_get}, {POST, handle_stream_post}}},
    {"^/api/stream/([0-9]+)$",
     "GET,PUT,DELETE",
     {{GET, handle_stream_stream_id_get},
      {PUT, handle_stream_stream_id_put},
      {DELETE, handle_stream_stream_id_delete}}},
    {"/api/stream/select", "GET", {{GET, handle_stream_select_get, Needs::Nothing}}},
    {"^/api/stream/select/([0-9]+)$",
     "PUT",
     {{PUT, handle_stream_select_stream_id_put, Needs::Daemon}}},
    {"/api/decoder",
     "GET,PUT",
     {{GET, handle_decoder_get}, {PUT, handle_decoder_put, Needs::Nothing}}},
    {"/api/decoder/video",
     "GET,PUT",
     {{GET, handle_decoder_video_get}, {PUT, handle_decoder_video_put}}},
    {"/api/decoder/audio",
     "GET,PUT",
     {{GET, handle_decoder_audio_get}, {PUT, handle_decoder_audio_put}}},
    {"/api/decoder/configuration",
     "GET,PUT",
     {{GET, handle_decoder_configuration_get}, {PUT, handle_decoder_configuration_put}}},
    {"/api/decoder/vbianc",
     "GET,PUT",
     {{GET, handle_decoder_vbianc_get}, {PUT, handle_decoder_vbianc_put}}},
    {"/api/decoder/talkback",
     "GET,PUT",
     {{GET, handle_decoder_talkback_get}, {PUT, handle_decoder_talkback_put}}},
    {"/api/channel", "GET", {{GET, handle_channel_get}}},
    {"/api/channel/start", "PUT", {{PUT, handle_channel_start_put, Needs::Daemon}}},
    {"/api/channel/stop", "PUT", {{PUT, handle_channel_stop_put, Needs::Daemon}}},
    {"/api/channel/info", "GET", {{GET, handle_channel_info_get}}},
    {"/api/network", "GET,PUT", {{GET, handle_network_get}, {PUT, handle_network_put}}},
    {"/api/sap", "GET,PUT", {{GET, handle_sap_get}, {PUT, handle_sap_put}}},
    {"/api/sap/stream",
     "GET,POST",
     {{GET, handle_sap_stream_get}, {POST, handle_sap_stream_post, Needs::Nothing}}},
    {"/api/security", "GET,PUT", {{GET, handle_security_get}, {PUT, handle_security_put}}},
    {"/api/security/certificate", "POST", {{POST, handle_security_certificate_post}}},
    {"/api/security/certificate/default",
     "PUT",
     {{PUT, handle_security_certificate_default_put, Needs::Daemon}}},
    {"/api/notice", "GET", {{GET, handle_notice_get}}},
    {"/api/sysdatetime", "GET,PUT", {{GET, handle_sysdatetime_get}, {PUT, handle_sysdatetime_put}}},
    {"/api/ports", "GET", {{GET, handle_ports_get}}},
    {"/api/leds", "GET", {{GET, handle_leds_get}}},
    {"/api/services", "GET,PUT", {{GET, handle_services_get}, {PUT, handle_services_put}}},
    {"/api/configuration",
     "GET,POST",
     {{GET, handle_configuration_get}, {POST, handle_configuration_post}}},
    {"^/api/configuration/([0-9]+)$",
     "GET,PUT,DELETE",
     {{GET, handle_configuration_conf_id_get},
      {PUT, handle_configuration_conf_id_put},
      {DELETE, handle_configuration_conf_id_delete}}},
    {"/api/configuration/activate",
     "GET",
     {{GET, handle_configuration_activate_get, Needs::Nothing}}},
    {"^/api/configuration/activate/([0-9]+)$",
     "PUT",
     {{PUT, handle_configuration_activate_conf_id_put, Needs::Daemon}}},
    {"/api/general", "GET", {{GET, handle_general_get}}},
    {"/api/general/restart", "PUT", {{PUT, handle_general_restart_put, Needs::Daemon}}},
    {"/api/general/factoryReset", "PUT", {{PUT, handle_general_factory_reset_put, Needs::Daemon}}},
    {"/api/general/firmwareUpgrade", "POST", {{POST, handle_general_firmware_upgrade_post}}},
    {"/api/general/upgradeStatus", "GET", {{GET, handle_general_upgrade_status_get}}},
    {"/api/general/freespace", "GET", {{GET, handle_general_freespace_get}}},
    {"/api/general/uidLed", "POST", {{POST, handle_general_uid_led_post, Needs::Nothing}}},
    {"/api/uptime", "GET", {{GET, handle_uptime_get}}},
    {"/api/login",
     "POST,GET",
     {{GET, handle_login_get, Needs::Nothing}, {POST, handle_login_post, Needs::Nothing}}},
    {"/api/logout",
     "GET,POST",
     {{GET, handle_logout_get, Needs::Nothing}, {POST, handle_logout_post, Needs::Nothing}}},
    {"/api/talkback", "GET", {{GET, handle_talkback_get, Needs::Nothing}}},
    {"/api/talkback/start", "PUT", {{PUT, handle_talkback_start_put, Needs::Daemon}}},
    {"/api/talkback/stop", "PUT", {{PUT, handle_talkback_stop_put, Needs::Daemon}}},
    {"/api/changes", "GET", {{GET, handle_changes_get}}},
    {"/api/zixiStats", "GET", {{GET, handle_zixi_stats_get}}},
    {"/api/srtStats", "GET", {{GET, handle_srt_stats_get}}},
};
const size_t route_count = std::size(routes);

namespace {

constexpr bool is_pattern(const Route &route)
{
    return route.path[0] == '^';
}

constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

/* No fixed path ends with a digit, and every pattern does: a path is compared
 * with one kind only, and its identifier is what follows the last slash. */
static_assert(std::all_of(std::begin(routes), std::end(routes),
                          [](const Route &route) {
                              return is_pattern(route) ? route.path.ends_with("/([0-9]+)$")
                                                       : !is_digit(route.path.back());
                          }),
              "a pattern of another form needs more than find_route does");

struct Pattern {
    regex_t compiled;
    bool usable;
};

Pattern patterns[std::size(routes)]; /* of the routes with one */
bool compiled;

/* On a graceful restart the server unloads the module and loads it again. */
[[gnu::destructor]] void free_patterns()
{
    for (Pattern &pattern : patterns) {
        if (pattern.usable) regfree(&pattern.compiled);
    }
}

void compile_patterns()
{
    if (compiled) return;
    compiled = true;
    for (size_t i = 0; i < route_count; ++i) {
        if (!is_pattern(routes[i])) continue;
        patterns[i].usable =
            regcomp(&patterns[i].compiled, routes[i].path.data(), REG_EXTENDED) == 0;
    }
}

/* Without asking for the group's place: that would take ten times as long. */
bool matches_pattern(const Pattern &pattern, const char *path, int32_t *id)
{
    if (!pattern.usable || regexec(&pattern.compiled, path, 0, nullptr, 0) != 0) return false;
    *id = decimal_value(strrchr(path, '/') + 1);
    return true;
}

} // namespace

RouteMatch find_route(const char *path)
{
    compile_patterns();
    const std::string_view text = path;
    const bool has_id = !text.empty() && is_digit(text.back());
    for (size_t i = 0; i < route_count; ++i) {
        int32_t id = 0;
        const bool matches = is_pattern(routes[i])
                                 ? has_id && matches_pattern(patterns[i], path, &id)
                                 : !has_id && routes[i].path == text;
        if (matches) return {&routes[i], id};
    }
    return {nullptr, 0};
}

const Action *find_action(const Route &route, http_method_t method)
{
    for (const Action &action : route.actions) {
        if (action.method == method && (action.handler || action.id_handler)) return &action;
    }
    return nullptr;
}
