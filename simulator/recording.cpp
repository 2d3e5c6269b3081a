#include "simulator/recording.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "simulator/text_input.h"

/* A recording holds what users typed, passwords among it: it is for its owner
 * alone. One that is there may have been edited: it is not written over. */
std::string Recorder::open(const std::string &path)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0 && errno == EEXIST) return path + ": it is there already, and is not written over";
    if (fd < 0) return path + ": " + strerror(errno);
    close(fd);
    file_.open(path);
    file_ << "# A session that sysmngd-sim --replay answers from.\n";
    file_.flush();
    return file_ ? "" : path + ": it cannot be written";
}

void Recorder::write(const std::string &comment, const Request &request, const Reply &reply)
{
    file_ << "\n# " << comment << "\n"
          << exchange_text({request.code, request.payload, reply.result, reply.record});
    file_.flush(); /* whatever ends the program, the session is there */
}

std::vector<std::string> Replay::read(const std::string &path)
{
    std::vector<std::string> lines;
    const std::string unreadable = read_lines(path, lines);
    if (!unreadable.empty()) return {path + ": " + unreadable};
    std::vector<Exchange> exchanges;
    std::vector<std::string> problems = parse_exchanges(lines, exchanges);
    for (std::string &problem : problems) problem.insert(0, path + ":");
    if (exchanges.empty() && problems.empty()) problems.push_back(path + ": it has no request");
    for (const Exchange &one : exchanges) {
        const bool is_good = one.result == RESULT_SUCCESS;
        replies_[{one.code, one.request}].all.push_back(
            {one.result, one.reply, is_good ? "" : "as recorded"});
    }
    return problems;
}

std::optional<Reply> Replay::next_reply(const Request &request)
{
    const auto found = replies_.find({request.code, request.payload});
    if (found == replies_.end()) return {};
    Replies &replies = found->second;
    const size_t at = replies.next;
    replies.next = std::min(at + 1, replies.all.size() - 1);
    return replies.all[at];
}
