/* What the module's own work costs inside the process, each figure next to what the work costs at
 * least. Both are measured in turn, the shortest of the repetitions counts. Options are those of
 * Google Benchmark. */
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bench/form.h"
#include "bench/table.h"
#include "handlers/stream_decoder/records.h"
#include "input/form.h"
#include "input/multipart.h"
#include "input/params.h"
#include "module/routes.h"
#include "reply/escape.h"
#include "reply/fill.h"
#include "reply/list.h"
#include "reply/render.h"
#include "server/hosting/hosting.h"
#include "sysmng/bytes.h"
#include "sysmng/client.h"
#include "sysmng/command.h"

/* Uploads go nowhere. */
int upload_open(UploadFile *file, const char *name)
{
    *file = {0, 0, name};
    return 0;
}

int upload_write(UploadFile *, const char *data, size_t length)
{
    benchmark::DoNotOptimize(data);
    benchmark::DoNotOptimize(length);
    return 0;
}

int upload_close(UploadFile *file)
{
    *file = NO_UPLOAD;
    return 0;
}

void upload_discard(UploadFile *file)
{
    *file = NO_UPLOAD;
}

namespace {

using benchmark::ClobberMemory;
using benchmark::DoNotOptimize;
using benchmark::State;
using records::stream_record;

void fail(const char *why)
{
    fprintf(stderr, "bench: %s\n", why);
    exit(EXIT_FAILURE);
}

/* What the benchmarks work on, made once. */
struct Material {
    static constexpr uint32_t stream_count = 1000;

    connection *con = hosted_connection_new();
    array *params = array_init();
    buffer *field = buffer_init();
    std::vector<uint8_t> stream = std::vector<uint8_t>(stream_record.size);
    plugin_data state = {};
    std::string debug_lines; /* that the form makes */

    Material();
    chunk *body() const { return con->request_content_queue->first; }
    void decode_form() const;
    void make_list();
};

void Material::decode_form() const
{
    array_reset(params);
    parse_urlencoded_chunk(body()->mem, params);
}

/* A reply with different streams, and its list, for which the buffer has to grow. */
void Material::make_list()
{
    constexpr uint32_t size = stream_record.size;
    state.msg_buf = static_cast<uint8_t *>(malloc(REPLY_PREAMBLE_LEN + stream_count * size));
    state.reply_buf = static_cast<char *>(malloc(REPLY_BUF_SIZE));
    state.reply_buf_size = REPLY_BUF_SIZE;
    for (uint32_t i = 0; i < stream_count; ++i) {
        uint8_t *record = reply_record(&state) + i * size;
        memcpy(record, stream.data(), size);
        store_u32(record + offset_of(stream_record, "id"), i);
        store_u32(record + offset_of(stream_record, "port"), 5000 + 2 * i);
        char *name = reinterpret_cast<char *>(record) + offset_of(stream_record, "name");
        snprintf(name, 255, "Studio %u%s", i, i % 4 == 0 ? " <main>" : "");
    }
    render_list(nullptr, &state, stream_record, stream_count, "bench");
}

Material::Material()
{
    hosted_append_memory_view(con, stream_form);
    const int lines = memfd_create("debug-lines", MFD_CLOEXEC);
    const int standard_error = dup(STDERR_FILENO);
    dup2(lines, STDERR_FILENO);
    decode_form();
    debug_lines.resize(static_cast<size_t>(lseek(lines, 0, SEEK_END)));
    const ssize_t read = pread(lines, debug_lines.data(), debug_lines.size(), 0);
    dup2(standard_error, STDERR_FILENO);
    close(standard_error);
    close(lines);
    if (params->used != stream_record.count || read <= 0) fail("the form has other fields");
    fill_record(stream.data(), stream_record, params);
    make_list();
}

const Material &material()
{
    static const Material made;
    return made;
}

/* ---- One stream ---- */

/* A record's values, escaped, as arguments for printf. */
struct Values {
    std::vector<int> numbers;
    std::vector<const char *> flags;
    std::vector<std::string> texts;

    explicit Values(const uint8_t *bytes)
    {
        for (const Field &field : records::stream_record_fields) {
            if (field.kind == FieldKind::Flag) {
                flags.push_back(*bytes ? "true" : "false");
            } else if (field.kind == FieldKind::Text) {
                std::vector<char> escaped(field.width);
                const char *end =
                    put_escaped(escaped.data(), reinterpret_cast<const char *>(bytes), field.width);
                texts.emplace_back(escaped.data(), static_cast<size_t>(end - escaped.data()));
            } else {
                numbers.push_back(load_i32(bytes));
            }
            bytes += field.width;
        }
    }
};

int print_stream(char *out, size_t size, const Values &v)
{
    const auto &n = v.numbers;
    const auto &f = v.flags;
    const auto t = [&v](size_t i) { return v.texts[i].c_str(); };
    return snprintf(
        out, size,
        "{\"id\" : \"%d\", \"protocol\" : %d, \"channelInput\" : %d, \"ipAddress\" : \"%s\", "
        "\"port\" : %d, \"programPid\" : %d, \"videoPid\" : %d, \"audio1Pid\" : %d, "
        "\"audio2Pid\" : %d, \"isSap\" : %s, \"isUll\" : %s, \"name\" : \"%s\", "
        "\"fecPort1\" : %d, \"fecPort2\" : %d, \"channelName\" : \"%s\", "
        "\"channelUserName\" : \"%s\", \"channelPassword\" : \"%s\", "
        "\"zixiUseBroadcaster\" : %s, \"latency\" : %d, \"isStreamForwarding\" : %s, "
        "\"forwardingTargetAddress\" : \"%s\", \"forwardingTargetPort\" : %d, "
        "\"forwardingMulticastInterface\" : %d, \"forwardingUdpPacketSize\" : %d, "
        "\"forwardingTtl\" : %d, \"status\" : %d, \"aesEncryption\" : %d, \"aesKey\" : \"%s\", "
        "\"rtmpServerUrl\" : \"%s\"}",
        n[0], n[1], n[2], t(0), n[3], n[4], n[5], n[6], n[7], f[0], f[1], t(1), n[8], n[9], t(2),
        t(3), t(4), f[2], n[10], f[3], t(5), n[11], n[12], n[13], n[14], n[15], n[16], t(6), t(7));
}

uint32_t render_stream(char *out, const uint8_t *record)
{
    Text json = text_in(out, REPLY_BUF_SIZE);
    append_object(json, stream_record, record);
    return finish(json);
}

void stream(State &state)
{
    const uint8_t *record = material().stream.data();
    char out[REPLY_BUF_SIZE];
    for (auto _ : state) {
        DoNotOptimize(render_stream(out, record));
        ClobberMemory();
    }
}

void stream_bound(State &state)
{
    const Values values(material().stream.data());
    char rendered[REPLY_BUF_SIZE], out[REPLY_BUF_SIZE];
    render_stream(rendered, material().stream.data());
    print_stream(out, sizeof(out), values);
    if (strcmp(rendered, out) != 0) fail("the stream's two texts differ");
    for (auto _ : state) {
        DoNotOptimize(print_stream(out, sizeof(out), values));
        ClobberMemory();
    }
}

/* ---- Lists, texts, checksums, against memcpy ---- */

void copy(State &state, const char *from, size_t length)
{
    std::vector<char> to(length);
    for (auto _ : state) {
        DoNotOptimize(length);
        memcpy(to.data(), from, length);
        DoNotOptimize(to.data());
        ClobberMemory();
    }
}

void list(State &state)
{
    plugin_data p = material().state;
    for (auto _ : state) {
        DoNotOptimize(render_list(nullptr, &p, stream_record, Material::stream_count, "bench"));
        ClobberMemory();
    }
}

void list_bound(State &state)
{
    copy(state, material().state.reply_buf, strlen(material().state.reply_buf));
}

/* As many texts as the list has streams, in fields of 255 bytes. */
constexpr size_t text_width = 255, text_count = Material::stream_count;
constexpr const char *plain =
    "Main feed, studio A of the northern site, by way of the uplink van and the second relay, "
    "recorded to /var/feeds/main and sent on to the head office at every full hour; call the "
    "desk on the third floor when it does not come, and nobody else";
constexpr const char *special = /* each of them once */
    "Main feed, studio A of the \"northern site, by way of the uplink van & the second relay, "
    "recorded to C:\\feeds and sent on to the head office at every <full> hour; call the "
    "desk on the third floor when it does not come, and nobody else";

std::string text_fields(const char *text)
{
    std::string field = text, fields;
    field.resize(text_width - 1, '.');
    field.resize(text_width);
    for (size_t i = 0; i < text_count; ++i) fields += field;
    return fields;
}

/* Copies the texts one by one. */
void copy_texts(char *to, const char *from)
{
    size_t length = text_width;
    for (size_t i = 0; i < text_count; ++i) {
        DoNotOptimize(length);
        memcpy(to + i * text_width, from + i * text_width, length);
    }
    ClobberMemory();
}

void escape_texts(char *fields)
{
    for (size_t i = 0; i < text_count; ++i) escape_string(fields + i * text_width, text_width);
    ClobberMemory();
}

void escape_plain(State &state)
{
    std::string fields = text_fields(plain);
    for (auto _ : state) escape_texts(fields.data());
}

/* Escaped in place, the texts have to be brought back before each round. */
void escape_special(State &state)
{
    const std::string texts = text_fields(special);
    std::string fields = texts;
    for (auto _ : state) {
        copy_texts(fields.data(), texts.data());
        escape_texts(fields.data());
    }
}

void text_bound(State &state)
{
    const std::string texts = text_fields(special);
    std::string fields = texts;
    for (auto _ : state) copy_texts(fields.data(), texts.data());
}

constexpr uint32_t message_size = 100 * 1024;

void checksum(State &state)
{
    const std::vector<uint8_t> payload(message_size, 'x');
    SysMngHeader header = {};
    store_u32(header.length, SYSMNG_HEADER_LEN + message_size);
    SysMngChecksumGenerate(&header, payload.data());
    for (auto _ : state) {
        DoNotOptimize(SysMngChecksumVerify(&header, payload.data()));
        ClobberMemory();
    }
}

void checksum_bound(State &state)
{
    const std::string payload(message_size, 'x');
    copy(state, payload.data(), payload.size());
}

/* ---- Forms ---- */

void fill(State &state)
{
    uint8_t record[stream_record.size];
    for (auto _ : state) {
        fill_record(record, stream_record, material().params);
        ClobberMemory();
    }
}

void fill_bound(State &state)
{
    for (auto _ : state) {
        for (const Field &field : records::stream_record_fields) {
            DoNotOptimize(get_value(material().params, field.key));
        }
    }
}

/* Standard error is a file while it lives, as the log of a server is. */
class ErrorsToFile {
public:
    ErrorsToFile() : kept(dup(STDERR_FILENO))
    {
        const int file = memfd_create("errors", MFD_CLOEXEC);
        dup2(file, STDERR_FILENO);
        close(file);
    }
    ~ErrorsToFile()
    {
        dup2(kept, STDERR_FILENO);
        close(kept);
    }
    ErrorsToFile(const ErrorsToFile &) = delete;
    ErrorsToFile &operator=(const ErrorsToFile &) = delete;

private:
    int kept;
};

void decode(State &state)
{
    const Material &m = material();
    const ErrorsToFile errors;
    for (auto _ : state) {
        m.decode_form();
        ClobberMemory();
    }
}

void decode_bound(State &state)
{
    const std::string &lines = material().debug_lines;
    std::string body = stream_form;
    const ErrorsToFile errors;
    for (auto _ : state) {
        DoNotOptimize(body);
        for (std::string_view rest = body; !rest.empty();) {
            const void *found = memchr(rest.data(), '&', rest.size());
            if (!found) break;
            rest.remove_prefix(static_cast<size_t>(static_cast<const char *>(found) - rest.data()) +
                               1);
        }
        DoNotOptimize(write(STDERR_FILENO, lines.data(), lines.size()));
    }
}

/* ---- Uploads ---- */

constexpr const char *boundary = "----------------------------5f1c0a9d7e33b642";

/* 64 MiB of a file's bytes: random ones, or line ends and half boundaries. */
std::string upload(bool random)
{
    constexpr size_t file_size = 64 * 1024 * 1024;
    const std::string delimiter = std::string("--") + boundary;
    std::string body = delimiter +
                       "\r\nContent-Disposition: form-data; name=\"packageName\"; "
                       "filename=\"package.bin\"\r\n\r\n";
    const size_t size = body.size() + file_size;
    body.reserve(size + delimiter.size() + 8);
    std::mt19937_64 numbers(1);
    while (random && body.size() < size) {
        const uint64_t number = numbers();
        body.append(reinterpret_cast<const char *>(&number), sizeof(number));
    }
    const std::string half = "\r\n" + delimiter.substr(0, delimiter.size() / 2) + "\r\n\r\n";
    while (body.size() < size) body += half;
    return body += "\r\n" + delimiter + "--\r\n";
}

template <typename Consumer>
void for_each_chunk(const std::string &body, Consumer consume)
{
    constexpr size_t chunk_size = 1024 * 1024;
    for (size_t at = 0; at < body.size(); at += chunk_size) {
        consume(body.data() + at, std::min(chunk_size, body.size() - at));
    }
}

void multipart(State &state, bool random)
{
    const Material &m = material();
    const std::string body = upload(random);
    static multipart_parser parser;
    for (auto _ : state) {
        array_reset(m.params);
        multipart_parser_init(&parser, boundary);
        parser.field = m.field;
        for_each_chunk(body, [&](const char *data, size_t length) {
            if (parse_multipart_chunk(nullptr, data, length, m.params, &parser) != 0)
                fail("not parsed");
        });
        if (parser.state != multipart_parser::CLOSED) fail("the upload has no end");
        multipart_parser_finish(&parser, true);
    }
}

void multipart_bound(State &state, bool random)
{
    const std::string body = upload(random);
    const std::string delimiter = std::string("\r\n--") + boundary;
    for (auto _ : state) {
        for_each_chunk(body, [&delimiter](const char *data, size_t length) {
            DoNotOptimize(memmem(data, length, delimiter.data(), delimiter.size()));
        });
    }
}

/* ---- Routes ---- */

constexpr const char *no_route = "/api/nothing";

const char *last_route()
{
    return routes[route_count - 1].path.data();
}

void choose(State &state, const char *path)
{
    for (auto _ : state) {
        DoNotOptimize(path);
        DoNotOptimize(find_route(path));
    }
}

/* The map is asked for a ready text: to make one is not counted. */
void look_up(State &state, const char *path)
{
    std::unordered_map<std::string, const Route *> map;
    for (size_t i = 0; i < route_count; ++i) map[std::string(routes[i].path)] = &routes[i];
    std::string key = path;
    for (auto _ : state) {
        DoNotOptimize(key);
        DoNotOptimize(map.find(key));
    }
}

/* ---- The table ---- */

struct Row {
    const char *what;
    void (*figure)(State &);
    void (*bound)(State &);
    Goal goal;
    int bounds_within = 0; /* the figure's rounds do what the bound does besides, so many times */
};

constexpr Goal at_most(double reach)
{
    return {Goal::TIMES_THE_BOUND, reach};
}

constexpr Goal at_least(double reach)
{
    return {Goal::AS_FAST_AS_THE_BOUND, reach};
}

constexpr Row rows[] = {
    {"one stream / snprintf", stream, stream_bound, at_least(4)},
    {"list of 1,000 streams / memcpy", list, list_bound, at_most(8)},
    {"escape_string, 1,000 plain texts / memcpy", escape_plain, text_bound, at_most(4)},
    {"escape_string, with special characters / memcpy", escape_special, text_bound, at_most(10), 1},
    {"fill a stream / lookups", fill, fill_bound, at_most(1.5)},
    {"decode a form / memchr and one write", decode, decode_bound, at_most(3)},
    {"checksum of 100 KiB / memcpy", checksum, checksum_bound, at_most(1.2)},
    {"upload of random bytes / memmem", [](State &s) { multipart(s, true); },
     [](State &s) { multipart_bound(s, true); }, at_least(0.8)},
    {"upload of half boundaries / memmem", [](State &s) { multipart(s, false); },
     [](State &s) { multipart_bound(s, false); }, at_least(0.8)},
    /* Some 50 ns, which no client notices. */
    {"route of the last row / hash map", [](State &s) { choose(s, last_route()); },
     [](State &s) { look_up(s, last_route()); }, at_most(15)},
    {"path without a route / hash map", [](State &s) { choose(s, no_route); },
     [](State &s) { look_up(s, no_route); }, at_most(15)},
};

/* Keeps the shortest time of each benchmark, in nanoseconds. Times of the processor: a machine
 * that others use, too, does not count them in. */
class Shortest : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration || run.iterations == 0) continue;
            double &least =
                times.try_emplace(run.run_name.function_name, std::numeric_limits<double>::max())
                    .first->second;
            least = std::min(least, run.GetAdjustedCPUTime());
        }
    }
    std::map<std::string, double> times;
};

/* Measures the figure and its bound in turn. */
bool measure(const Row &row)
{
    Shortest shortest;
    const std::string figure = std::string(row.what) + ": figure";
    const std::string bound = std::string(row.what) + ": bound";
    benchmark::ClearRegisteredBenchmarks();
    benchmark::RegisterBenchmark(figure.c_str(), row.figure);
    benchmark::RegisterBenchmark(bound.c_str(), row.bound);
    if (benchmark::RunSpecifiedBenchmarks(&shortest) == 0) return true; /* not asked for */
    const double least = shortest.times[bound];
    return print_figure(row.what, shortest.times[figure] - row.bounds_within * least, least,
                        row.goal);
}

} // namespace

int main(int argc, char **argv)
{
    std::vector<std::string> args = {argv[0], "--benchmark_enable_random_interleaving=true",
                                     "--benchmark_repetitions=15", "--benchmark_min_time=0.02"};
    args.insert(args.end(), argv + 1, argv + argc);
    std::vector<char *> pointers;
    for (std::string &arg : args) pointers.push_back(arg.data());
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) return EXIT_FAILURE;

    print_heading("Inside the process", "ns");
    bool all_reached = true;
    for (const Row &row : rows) all_reached = measure(row) && all_reached;
    return all_reached ? EXIT_SUCCESS : EXIT_FAILURE;
}
