#include "module/version_path.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "handlers/admin/records.h"
#include "reply/text.h"
#include "sysmng/command.h"

namespace {

/* Empty until the first request. */
char current_version[100];

constexpr uint32_t software_at = offset_of(records::general_info_record, "software");

bool ask_daemon_for_version(server *srv, plugin_data *p)
{
    p->msg_len = 0;
    if (kelto_sysmgmt_command(srv, p, CMD_GENERAL_GET) != RET_OK) return false;
    if (reply_record_len(p) != records::general_info_record.size) return false;
    const char *software = reinterpret_cast<const char *>(reply_record(p)) + software_at;
    const size_t length = strnlen(software, sizeof(current_version) - 1);
    memcpy(current_version, software, length);
    return length > 0;
}

/* The 02 after the month is part of the tag. */
void make_date_tag()
{
    const time_t now = time(nullptr);
    tm date = {};
    localtime_r(&now, &date);
    snprintf(current_version, sizeof(current_version) - 1, "apo%4d%02d02%d", date.tm_year + 1900,
             date.tm_mon + 1, date.tm_mday);
}

/* From the first '/' after the first character, or "/". */
const char *below_prefix(const char *path)
{
    const char *slash = strchr(path + 1, '/');
    return slash ? slash : "/";
}

} // namespace

bool version_known()
{
    return current_version[0] != '\0';
}

void get_current_version(server *srv, plugin_data *p)
{
    if (version_known()) return;
    if (!ask_daemon_for_version(srv, p)) make_date_tag();
}

int starts_with(const char *prefix, const char *text)
{
    return strncmp(prefix, text, strlen(prefix)) == 0 ? 1 : 0;
}

void do_redirect(server *, connection *con, const char *rest)
{
    char location[1 + 1 + sizeof(current_version) + 512];
    Text text = text_in(location, sizeof(location));
    append(text, "/v");
    append(text, current_version);
    append(text, rest);
    http_header_response_set(con, HTTP_HEADER_LOCATION, "Location", strlen("Location"), location,
                             finish(text));
    con->http_status = 307;
    con->file_finished = 1;
}

PathRule path_rule(const char *path)
{
    if (starts_with("/views", path)) return PathRule::Route;
    if (starts_with("/v", path)) {
        return starts_with(current_version, path + 2) ? PathRule::Serve : PathRule::Redirect;
    }
    return starts_with("/api", path) ? PathRule::Route : PathRule::Redirect;
}

PathRule apply_path_rules(server *srv, connection *con, plugin_data *p, const char *path)
{
    get_current_version(srv, p);
    const PathRule rule = path_rule(path);
    if (rule == PathRule::Route) return rule;
    const char *rest = starts_with("/v", path) ? below_prefix(path) : path;
    if (rule == PathRule::Redirect) {
        do_redirect(srv, con, rest);
    } else {
        buffer_reset(con->uri.path);
        buffer_append_string_len(con->uri.path, rest, strlen(rest));
    }
    return rule;
}
