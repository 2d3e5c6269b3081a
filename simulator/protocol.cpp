#include "simulator/protocol.h"

#include <cstring>
#include <iterator>

#include "simulator/format.h"
#include "simulator/text_input.h"
#include "sysmng/bytes.h"
#include "sysmng/client.h"
#include "sysmng/command.h"

namespace {

constexpr uint32_t longest_request = 1024 * 1024; /* no request comes near it */

/* CMD_MAX_NUM and the reserved codes are no commands. */
bool is_command(uint32_t code)
{
    return code < CMD_MAX_NUM && strncmp(command_names[code], "CMD_", 4) == 0;
}

} // namespace

std::optional<int32_t> requested_id(const Request &request)
{
    const uint8_t *payload = request.payload.data();
    if (request.payload.size() != 8 || load_u32(payload) != load_u32(payload + 4)) return {};
    return load_i32(payload);
}

Reply success(Bytes record)
{
    return {RESULT_SUCCESS, std::move(record), {}};
}

Reply failure(uint32_t result, const std::string &reason)
{
    return {result, {}, reason};
}

Reply refusal(const Complaints &complaints)
{
    Reply reply = failure(RESULT_REFUSED, "");
    for (const Complaint &complaint : complaints) {
        RecordBytes entry = new_record(complaint_record);
        set_text(entry, "message", complaint.message);
        set_text(entry, "property", complaint.property);
        append(reply.record, entry.bytes);
        if (!reply.reason.empty()) reply.reason += "; ";
        reply.reason += complaint.property + ": " + complaint.message;
    }
    return reply;
}

ReplyMessage message_of(const Request &request, const Reply &reply)
{
    const uint32_t data_len = static_cast<uint32_t>(reply.record.size());
    return {CMD_ACKNOWLEDGE, request.tag, request.code, reply.result, data_len, reply.record};
}

Bytes encode(const ReplyMessage &message)
{
    Bytes bytes(SYSMNG_HEADER_LEN + REPLY_PREAMBLE_LEN);
    uint8_t *payload = bytes.data() + SYSMNG_HEADER_LEN;
    store_u32(payload, message.command);
    store_u32(payload + 4, message.result);
    store_u32(payload + 8, message.data_len);
    append(bytes, message.record);
    bytes.resize(bytes.size() - message.cut);

    SysMngHeader header = {};
    store_u32(header.type, message.type);
    store_u32(header.length, static_cast<uint32_t>(bytes.size()));
    store_u32(header.tag, message.tag);
    SysMngChecksumGenerate(&header, bytes.data() + SYSMNG_HEADER_LEN);
    header.checksum = static_cast<uint8_t>(header.checksum + message.checksum_error);
    memcpy(bytes.data(), &header, SYSMNG_HEADER_LEN);
    if (message.half_sent) bytes.resize((SYSMNG_HEADER_LEN + bytes.size()) / 2);
    return bytes;
}

Arrival next_request(Bytes &input, Request &request)
{
    SysMngHeader header;
    if (input.size() < SYSMNG_HEADER_LEN) return Arrival::Incomplete;
    memcpy(&header, input.data(), SYSMNG_HEADER_LEN);
    const uint32_t length = load_u32(header.length);
    if (length < SYSMNG_HEADER_LEN || length > longest_request) return Arrival::Senseless;
    if (input.size() < length) return Arrival::Incomplete;

    const auto end = input.begin() + static_cast<Bytes::difference_type>(length);
    request.code = load_u32(header.type);
    request.tag = load_u32(header.tag);
    request.payload.assign(input.begin() + SYSMNG_HEADER_LEN, end);
    input.erase(input.begin(), end);
    request.is_damaged = SysMngChecksumVerify(&header, request.payload.data()) != RET_OK;
    return Arrival::Whole;
}

std::string command_name(uint32_t code)
{
    return is_command(code) ? command_names[code] : format("command %u", code);
}

std::optional<uint32_t> command_code(const std::string &text)
{
    for (uint32_t code = 0; code < CMD_MAX_NUM; ++code) {
        if (is_command(code) && text == command_names[code]) return code;
    }
    return uint_of(text);
}
