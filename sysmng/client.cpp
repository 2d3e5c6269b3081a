#include "sysmng/client.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "sysmng/bytes.h"

const char *const SYSMNG_SOCKET_PATHS[3] = {
    "/tmp/sysmng_decoder.socket",
    "/tmp/sysmng_web_plugin.socket",
    "/tmp/sysmng_cmd_client.socket",
};

namespace {

constexpr uint32_t type_at = 0, length_at = 4, tag_at = 8, checksum_at = 12;

/* How long a message may pause while it arrives, and how often that is looked
 * at: a Unix socket wakes nobody for the rest of a message. */
constexpr long arrival_gap_us = 250000;
constexpr long arrival_poll_us = 500;

uint32_t length_of(const SysMngHeader &header)
{
    return load_u32(header.bytes + length_at);
}

bool header_held(const SysMngHandle &handle)
{
    return length_of(handle.header) != 0;
}

uint8_t byte_sum(const uint8_t *bytes, uint32_t count)
{
    uint8_t sum = 0;
    for (uint32_t i = 0; i < count; ++i) sum = static_cast<uint8_t>(sum + bytes[i]);
    return sum;
}

/* Adds up header and payload. False when the length or the payload is no
 * message's. */
bool message_sum(const SysMngHeader *header, const uint8_t *payload, uint8_t *sum)
{
    if (!header) return false;
    const uint32_t length = length_of(*header);
    if (length < SYSMNG_HEADER_LEN) return false;
    const uint32_t payload_len = length - SYSMNG_HEADER_LEN;
    if (payload_len > 0 && !payload) return false;
    *sum = static_cast<uint8_t>(byte_sum(header->bytes, SYSMNG_HEADER_LEN) +
                                byte_sum(payload, payload_len));
    return true;
}

int connect_socket(const char *path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);

    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0) return -1;
    if (fcntl(fd, F_SETFL, O_NONBLOCK) < 0 ||
        connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) < 0) {
        close(fd);
        return -1;
    }
    return fd;
}

/* What is known of the message that begins the pending input: its length, 0
 * while its header is not there, and how much has arrived of it at least. One
 * look is enough for a short one. */
struct Pending {
    uint32_t length, arrived;
};

Pending pending_message(int fd)
{
    uint8_t start[512];
    const ssize_t got = recv(fd, start, sizeof(start), MSG_PEEK | MSG_DONTWAIT);
    if (got < static_cast<ssize_t>(SYSMNG_HEADER_LEN)) return {0, 0};
    return {load_u32(start + length_at), static_cast<uint32_t>(got)};
}

uint32_t pending_bytes(int fd)
{
    int pending = 0;
    return ioctl(fd, FIONREAD, &pending) == 0 && pending > 0 ? static_cast<uint32_t>(pending) : 0;
}

/* The kernel hands a long message over in pieces, and SysMngReceiveMsg reads
 * only once: give the pieces time, until they stop coming. */
void await_whole_message(int fd)
{
    auto [length, arrived] = pending_message(fd);
    if (arrived < length) arrived = pending_bytes(fd);
    long idle_us = 0;
    while (arrived < length && idle_us < arrival_gap_us) {
        timeval pause = {0, arrival_poll_us};
        select(0, nullptr, nullptr, nullptr, &pause);
        const uint32_t now = pending_bytes(fd);
        idle_us = now > arrived ? 0 : idle_us + arrival_poll_us;
        arrived = now;
    }
}

int receive_failed(SysMngHandle *handle)
{
    SysMngClearQueue(handle);
    return RET_ERROR;
}

bool receive_exactly(int fd, uint8_t *into, uint32_t count)
{
    return recv(fd, into, count, 0) == static_cast<ssize_t>(count);
}

} // namespace

SysMngHandle *SysMngConnect(uint32_t index)
{
    if (index >= sizeof(SYSMNG_SOCKET_PATHS) / sizeof(SYSMNG_SOCKET_PATHS[0])) return nullptr;
    SysMngHandle *handle = static_cast<SysMngHandle *>(calloc(1, sizeof(SysMngHandle)));
    if (!handle) return nullptr;
    handle->fd = connect_socket(SYSMNG_SOCKET_PATHS[index]);
    if (handle->fd < 0) {
        free(handle);
        return nullptr;
    }
    return handle;
}

void SysMngDisconnect(SysMngHandle *handle)
{
    SysMngClearQueue(handle);
    if (!handle) return;
    if (handle->fd >= 0) close(handle->fd);
    free(handle);
}

int SysMngClearQueue(SysMngHandle *handle)
{
    if (!handle) return RET_ERROR;
    uint8_t dropped[256];
    while (recv(handle->fd, dropped, sizeof(dropped), MSG_DONTWAIT) > 0) {
    }
    handle->header = {};
    handle->stale_input = true;
    return RET_OK;
}

int SysMngChecksumGenerate(SysMngHeader *header, const uint8_t *payload)
{
    uint8_t sum = 0;
    if (!message_sum(header, payload, &sum)) return RET_ERROR;
    /* The sum has the old checksum in it: taking it off leaves 0. */
    header->bytes[checksum_at] = static_cast<uint8_t>(header->bytes[checksum_at] - sum);
    return RET_OK;
}

int SysMngChecksumVerify(const SysMngHeader *header, const uint8_t *payload)
{
    uint8_t sum = 0;
    return message_sum(header, payload, &sum) && sum == 0 ? RET_OK : RET_ERROR;
}

int SysMngSendMsg(SysMngHandle *handle, uint32_t tag, uint32_t type, const uint8_t *payload,
                  uint32_t payload_len)
{
    if (!handle || (payload_len > 0 && !payload)) return RET_ERROR;
    if (handle->stale_input) {
        SysMngClearQueue(handle);
        handle->stale_input = false;
    }

    const uint32_t length = SYSMNG_HEADER_LEN + payload_len;
    if (length < payload_len) return RET_ERROR;
    uint8_t *message = static_cast<uint8_t *>(malloc(length));
    if (!message) return RET_ERROR;

    SysMngHeader header = {};
    store_u32(header.bytes + type_at, type);
    store_u32(header.bytes + length_at, length);
    store_u32(header.bytes + tag_at, tag);
    SysMngChecksumGenerate(&header, payload);
    memcpy(message, header.bytes, SYSMNG_HEADER_LEN);
    if (payload_len > 0) memcpy(message + SYSMNG_HEADER_LEN, payload, payload_len);

    const ssize_t sent = send(handle->fd, message, length, MSG_NOSIGNAL);
    free(message);
    return sent == static_cast<ssize_t>(length) ? RET_OK : RET_ERROR;
}

int SysMngWaitMsg(SysMngHandle *handle, timeval timeout)
{
    if (!handle || header_held(*handle)) return RET_ERROR;
    if (handle->fd < 0 || handle->fd >= FD_SETSIZE) return RET_ERROR;
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(handle->fd, &readable);
    const int ready = select(handle->fd + 1, &readable, nullptr, nullptr, &timeout);
    if (ready < 0) return RET_ERROR;
    if (ready == 0) return RET_TIMEOUT;
    if (!FD_ISSET(handle->fd, &readable)) return RET_ERROR;
    await_whole_message(handle->fd);
    return RET_OK;
}

int SysMngReceiveMsg(SysMngHandle *handle, uint32_t *tag_out, uint32_t *type_out, uint8_t *buffer,
                     uint32_t *len_inout)
{
    if (!handle || !type_out || !buffer || !len_inout || *len_inout == 0) return RET_ERROR;
    SysMngHeader &header = handle->header;
    if (!header_held(*handle) && !receive_exactly(handle->fd, header.bytes, SYSMNG_HEADER_LEN)) {
        return receive_failed(handle);
    }
    if (length_of(header) < SYSMNG_HEADER_LEN) return receive_failed(handle);

    const uint32_t payload_len = length_of(header) - SYSMNG_HEADER_LEN;
    const bool fits = payload_len <= *len_inout;
    if (fits) {
        if (payload_len > 0 && !receive_exactly(handle->fd, buffer, payload_len)) {
            return receive_failed(handle);
        }
        if (SysMngChecksumVerify(&header, buffer) != RET_OK) return receive_failed(handle);
    }
    *type_out = load_u32(header.bytes + type_at);
    *len_inout = payload_len;
    if (tag_out) *tag_out = load_u32(header.bytes + tag_at);
    if (!fits) return RET_INSUFMEM;
    header = {};
    return RET_OK;
}
