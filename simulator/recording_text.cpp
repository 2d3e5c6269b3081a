#include "simulator/recording_text.h"

#include <algorithm>
#include <iterator>

#include "simulator/commands.h"
#include "simulator/format.h"
#include "simulator/text_input.h"
#include "sysmng/bytes.h"

namespace {

using std::optional;
using std::string;

struct ResultWord {
    uint32_t result;
    const char *word;
};

constexpr ResultWord result_words[] = {{RESULT_SUCCESS, "success"},
                                       {RESULT_REFUSED, "refused"},
                                       {RESULT_UNKNOWN_COMMAND, "unknown-command"},
                                       {RESULT_DAMAGED_REQUEST, "damaged-request"}};

constexpr size_t hex_bytes_in_line = 32;

string code_text(uint32_t code)
{
    const string name = command_name(code);
    return command_code(name) ? name : std::to_string(code);
}

string result_text(uint32_t result)
{
    for (const ResultWord &row : result_words) {
        if (row.result == result) return row.word;
    }
    return std::to_string(result);
}

optional<uint32_t> result_of(const string &text)
{
    for (const ResultWord &row : result_words) {
        if (text == row.word) return row.result;
    }
    return uint_of(text);
}

/* In double quotes, on one line. */
string quoted(const string &text)
{
    string result = "\"";
    for (const char c : text) {
        const unsigned byte = static_cast<unsigned char>(c);
        if (c == '\n') {
            result += "\\n";
        } else if (byte < 0x20 || byte == 0x7f) {
            result += format("\\x%02x", byte);
        } else {
            if (c == '"' || c == '\\') result += '\\';
            result += c;
        }
    }
    return result + "\"";
}

optional<uint8_t> hex_byte(const string &digits)
{
    if (digits.size() != 2 || digits.find_first_not_of("0123456789abcdefABCDEF") < 2) return {};
    return static_cast<uint8_t>(std::stoul(digits, nullptr, 16));
}

/* The text between the quotes. */
optional<string> unquoted(const string &text)
{
    if (text.size() < 2 || text.front() != '"' || text.back() != '"') return {};
    string result;
    for (size_t i = 1; i + 1 < text.size(); ++i) {
        if (text[i] == '"') return {};
        if (text[i] != '\\') {
            result += text[i];
            continue;
        }
        if (++i + 1 >= text.size()) return {};
        if (text[i] == 'x') {
            const optional<uint8_t> byte = hex_byte(text.substr(i + 1, 2));
            if (!byte || i + 3 >= text.size()) return {};
            result += static_cast<char>(*byte);
            i += 2;
        } else {
            result += text[i] == 'n' ? '\n' : text[i];
        }
    }
    return result;
}

/* The lines of the fields that are not as in `blank`. */
string field_lines(const RecordBytes &record, const RecordBytes &blank, bool all)
{
    string lines = "  record\n";
    for (const Leaf &leaf : leaves(*record.record)) {
        const string value = get_text(record, leaf.key);
        if (!all && value == get_text(blank, leaf.key)) continue;
        const bool is_text = leaf.field->kind == FieldKind::Text;
        lines += "    " + leaf.key + " = " + (is_text ? quoted(value) : value) + "\n";
    }
    return lines;
}

string hex_lines(const Bytes &bytes)
{
    string lines;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i % hex_bytes_in_line == 0) lines += lines.empty() ? "  hex" : "\n  hex";
        lines += format(" %02x", bytes[i]);
    }
    return lines.empty() ? "" : lines + "\n";
}

/* Whether the values alone make the same bytes again. */
bool is_all_values(const RecordBytes &record)
{
    RecordBytes made = new_record(*record.record);
    for (const Leaf &leaf : leaves(*record.record)) {
        const string value = get_text(record, leaf.key);
        if (!value_problem(*leaf.field, value).empty()) return false;
        set_text(made, leaf.key, value);
    }
    return made.bytes == record.bytes;
}

/* Records with their fields, other bytes as digits. */
string payload_lines(const Bytes &bytes, const Record *record, const RecordBytes *blank)
{
    if (!record || bytes.size() % record->size != 0) return hex_lines(bytes);
    string lines;
    for (size_t at = 0; at < bytes.size(); at += record->size) {
        const RecordBytes one = record_at(*record, bytes, at);
        lines += is_all_values(one) ? field_lines(one, blank ? *blank : one, !blank)
                                    : hex_lines(one.bytes);
    }
    return lines;
}

Bytes twice(int32_t id)
{
    Bytes bytes(8);
    store_i32(bytes.data(), id);
    store_i32(bytes.data() + 4, id);
    return bytes;
}

/* Reads line by line. */
class Parser {
public:
    explicit Parser(std::vector<Exchange> &exchanges) : exchanges_(exchanges) {}

    /* Returns the problem, empty when there is none. */
    string parse(const string &line);
    string end();

private:
    string begin_request(string rest);
    string begin_reply(const string &rest);
    string begin_record();
    string add_field(const string &line);
    string add_hex(string rest);
    Bytes &payload() { return has_reply_ ? exchanges_.back().reply : exchanges_.back().request; }

    std::vector<Exchange> &exchanges_;
    bool has_reply_ = true;          /* of the last exchange */
    const Record *record_ = nullptr; /* that ends the payload, and may get fields */
};

string Parser::parse(const string &line)
{
    string rest = line;
    const string word = take_word(rest);
    if (word.empty() || word.starts_with('#')) return "";
    if (word == "request") return begin_request(rest);
    if (exchanges_.empty()) return "a recording begins with request";
    if (word == "reply") return begin_reply(rest);
    if (word == "record")
        return rest.empty() ? begin_record() : "nothing follows record on its line";
    if (word == "hex") return add_hex(rest);
    return add_field(line);
}

string Parser::end()
{
    return has_reply_ ? "" : "the last request has no reply";
}

string Parser::begin_request(string rest)
{
    string before = end();
    const string name = take_word(rest);
    const optional<uint32_t> code = command_code(name);
    exchanges_.emplace_back().code = code.value_or(0);
    has_reply_ = false;
    record_ = nullptr;
    if (!before.empty()) return before;
    if (!code) return "there is no command \"" + name + "\"";
    if (rest.empty()) return "";
    const optional<int32_t> id = int_of(rest);
    if (!id) return "\"" + rest + "\" is no identifier";
    exchanges_.back().request = twice(*id);
    return "";
}

string Parser::begin_reply(const string &rest)
{
    if (has_reply_) return "this request has a reply already";
    has_reply_ = true;
    record_ = nullptr;
    const optional<uint32_t> result = result_of(rest);
    exchanges_.back().result = result.value_or(0);
    return result ? ""
                  : "a reply is success, refused, unknown-command, damaged-request or a number";
}

string Parser::begin_record()
{
    const Exchange &exchange = exchanges_.back();
    record_ =
        has_reply_ ? reply_record(exchange.code, exchange.result) : request_record(exchange.code);
    if (!record_) return command_name(exchange.code) + " has no record here; write hex";
    append(payload(), has_reply_ ? new_record(*record_).bytes : blank_request(*record_).bytes);
    return "";
}

string Parser::add_field(const string &line)
{
    const size_t equals = line.find('=');
    const string key = trimmed(line.substr(0, equals));
    if (equals == string::npos) return "\"" + key + "\" is no word of a recording";
    if (!record_) return "a field must follow record";
    const Leaf *leaf = find_leaf(*record_, key);
    if (!leaf) return short_name(*record_) + " has no \"" + key + "\"";
    optional<string> value = trimmed(line.substr(equals + 1));
    if (leaf->field->kind == FieldKind::Text) value = unquoted(*value);
    if (!value) return key + " is a text in double quotes";
    const string problem = value_problem(*leaf->field, *value);
    if (!problem.empty()) return key + " " + problem;

    Bytes &bytes = payload();
    const auto begin = bytes.end() - static_cast<Bytes::difference_type>(record_->size);
    RecordBytes changed = {record_, Bytes(begin, bytes.end())};
    set_text(changed, key, *value);
    std::copy(changed.bytes.begin(), changed.bytes.end(), begin);
    return "";
}

string Parser::add_hex(string rest)
{
    record_ = nullptr;
    while (!rest.empty()) {
        const string digits = take_word(rest);
        const optional<uint8_t> byte = hex_byte(digits);
        if (!byte) return "\"" + digits + "\" is no byte of two hex digits";
        payload().push_back(*byte);
    }
    return "";
}

} // namespace

string request_text(uint32_t code, const Bytes &payload)
{
    const string line = "request " + code_text(code);
    if (const Record *record = request_record(code)) {
        const RecordBytes blank = blank_request(*record);
        return line + "\n" + payload_lines(payload, record, &blank);
    }
    const optional<int32_t> id = requested_id({.code = code, .payload = payload});
    return id ? line + format(" %d\n", *id) : line + "\n" + hex_lines(payload);
}

string exchange_text(const Exchange &exchange)
{
    const Record *record = reply_record(exchange.code, exchange.result);
    return request_text(exchange.code, exchange.request) + "reply " + result_text(exchange.result) +
           "\n" + payload_lines(exchange.reply, record, nullptr);
}

std::vector<string> parse_exchanges(const std::vector<string> &lines,
                                    std::vector<Exchange> &exchanges)
{
    std::vector<string> problems;
    Parser parser(exchanges);
    const auto note = [&](size_t line, const string &problem) {
        if (!problem.empty()) problems.push_back(format("%zu: ", line) + printable(problem));
    };
    for (size_t i = 0; i < lines.size(); ++i) note(i + 1, parser.parse(lines[i]));
    note(lines.size(), parser.end());
    return problems;
}
