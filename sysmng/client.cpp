#include "sysmng/client.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "sysmng/bytes.h"
#include "sysmng/wait.h"

const char *const SYSMNG_SOCKET_PATHS[3] = {
    "/tmp/sysmng_decoder.socket",
    "/tmp/sysmng_web_plugin.socket",
    "/tmp/sysmng_cmd_client.socket",
};

namespace {

constexpr int64_t second_us = 1000000;
constexpr int64_t exchange_us = SYSMNG_EXCHANGE_SECONDS * second_us;

/* How long a message may pause while it arrives. */
constexpr int64_t longest_gap_us = second_us / 4;

/* How often up to 4 KiB are read to drop pending input: twice the longest reply
 * that is accepted, and an end even when a daemon never stops sending. */
constexpr int most_drops = 8192;

int64_t now_us()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * second_us + now.tv_nsec / 1000;
}

int64_t microseconds(timeval time)
{
    return time.tv_sec * second_us + time.tv_usec;
}

timeval as_timeval(int64_t us)
{
    return {static_cast<time_t>(us / second_us), static_cast<suseconds_t>(us % second_us)};
}

uint32_t length_of(const SysMngHeader &header)
{
    return load_u32(header.length);
}

bool header_held(const SysMngHandle &handle)
{
    return length_of(handle.header) != 0;
}

const uint8_t *bytes_of(const SysMngHeader &header)
{
    return reinterpret_cast<const uint8_t *>(&header);
}

uint8_t byte_sum(const uint8_t *bytes, uint32_t count)
{
    uint8_t sum = 0;
    for (uint32_t i = 0; i < count; ++i) sum = static_cast<uint8_t>(sum + bytes[i]);
    return sum;
}

/* Adds up header and payload. False when there is no header, no payload, or the
 * length is less than a header's. */
bool message_sum(const SysMngHeader *header, const uint8_t *payload, uint8_t *sum)
{
    if (!header) return false;
    const uint32_t length = length_of(*header);
    if (length < SYSMNG_HEADER_LEN) return false;
    const uint32_t payload_len = length - SYSMNG_HEADER_LEN;
    if (payload_len > 0 && !payload) return false;
    *sum = static_cast<uint8_t>(byte_sum(bytes_of(*header), SYSMNG_HEADER_LEN) +
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
    /* Not by fcntl, which would ask for a C library of 2018. */
    if (syscall(SYS_fcntl, fd, F_SETFL, O_NONBLOCK) < 0 ||
        connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) < 0) {
        close(fd);
        return -1;
    }
    return fd;
}

/* Whether more of the message that is arriving comes in time. */
bool await_piece(SysMngHandle *handle)
{
    const int64_t now = now_us();
    if (handle->deadline_us == 0) handle->deadline_us = now + exchange_us - handle->waited_us;
    const int64_t rest_us = handle->deadline_us - now;
    if (rest_us <= 0) return false;
    timeval left = as_timeval(rest_us < longest_gap_us ? rest_us : longest_gap_us);
    return wait_readable(handle->fd, &left) > 0;
}

/* `begun`: something of the message has already arrived. */
bool receive_exactly(SysMngHandle *handle, uint8_t *into, uint32_t count, bool begun)
{
    while (count > 0) {
        const ssize_t got = recv(handle->fd, into, count, 0);
        if (got == 0 || (got < 0 && (errno != EAGAIN || !begun))) return false;
        begun = true;
        if (got > 0) {
            into += got;
            count -= static_cast<uint32_t>(got);
        }
        if (count > 0 && !await_piece(handle)) {
            handle->missing = count;
            handle->cut_short_us = now_us();
            return false;
        }
    }
    return true;
}

bool receive_header(SysMngHandle *handle)
{
    uint8_t *const bytes = reinterpret_cast<uint8_t *>(&handle->header);
    if (receive_exactly(handle, bytes, SYSMNG_HEADER_LEN, false)) return true;
    if (handle->missing > 0) handle->missing = UINT32_MAX; /* the length is unknown */
    return false;
}

int receive_failed(SysMngHandle *handle)
{
    SysMngClearQueue(handle);
    return RET_ERROR;
}

/* Returns what recv returns. */
ssize_t drop_piece(SysMngHandle *handle)
{
    uint8_t dropped[4096];
    const ssize_t got = recv(handle->fd, dropped, sizeof(dropped), MSG_DONTWAIT);
    if (got <= 0) return got;
    const uint32_t count = static_cast<uint32_t>(got);
    handle->missing -= count < handle->missing ? count : handle->missing;
    return got;
}

/* The rest of a message that was not read to its end may come late, and a long
 * one only while it is read: as long as no gap is too long, it is dropped, so
 * that it is not taken for the next answer. */
void drop_late_rest(SysMngHandle *handle)
{
    int64_t now = now_us();
    const int64_t end_us = now + exchange_us;
    for (int i = 0; i < most_drops && handle->missing > 0 && now < end_us; ++i, now = now_us()) {
        const ssize_t got = drop_piece(handle);
        if (got == 0) break;
        if (got > 0) {
            handle->cut_short_us = now;
            continue;
        }
        const int64_t left_us = handle->cut_short_us + longest_gap_us - now;
        timeval left = as_timeval(left_us);
        if (left_us <= 0 || wait_readable(handle->fd, &left) <= 0) break;
    }
    handle->missing = 0;
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
    for (int i = 0; i < most_drops; ++i) {
        if (drop_piece(handle) <= 0) break;
    }
    handle->header = {};
    handle->stale_input = true;
    handle->deadline_us = 0;
    return RET_OK;
}

int SysMngChecksumGenerate(SysMngHeader *header, const uint8_t *payload)
{
    uint8_t sum = 0;
    if (!message_sum(header, payload, &sum)) return RET_ERROR;
    /* The sum has the old checksum in it: taking it off leaves 0. */
    header->checksum = static_cast<uint8_t>(header->checksum - sum);
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
        drop_late_rest(handle);
        SysMngClearQueue(handle);
        handle->stale_input = false;
    }
    handle->waited_us = handle->deadline_us = 0;

    const uint32_t length = SYSMNG_HEADER_LEN + payload_len;
    if (length < payload_len) return RET_ERROR;
    uint8_t *message = static_cast<uint8_t *>(malloc(length));
    if (!message) return RET_ERROR;

    SysMngHeader header = {};
    store_u32(header.type, type);
    store_u32(header.length, length);
    store_u32(header.tag, tag);
    SysMngChecksumGenerate(&header, payload);
    memcpy(message, &header, SYSMNG_HEADER_LEN);
    if (payload_len > 0) memcpy(message + SYSMNG_HEADER_LEN, payload, payload_len);

    const ssize_t sent = send(handle->fd, message, length, MSG_NOSIGNAL);
    free(message);
    return sent == static_cast<ssize_t>(length) ? RET_OK : RET_ERROR;
}

int SysMngWaitMsg(SysMngHandle *handle, timeval timeout)
{
    if (!handle || header_held(*handle)) return RET_ERROR;
    timeval left = timeout;
    const int ready = wait_readable(handle->fd, &left);
    handle->waited_us = microseconds(timeout) - microseconds(left);
    if (ready < 0) return RET_ERROR;
    return ready > 0 ? RET_OK : RET_TIMEOUT;
}

int SysMngReceiveMsg(SysMngHandle *handle, uint32_t *tag_out, uint32_t *type_out, uint8_t *buffer,
                     uint32_t *len_inout)
{
    if (!handle || !type_out || !buffer || !len_inout || *len_inout == 0) return RET_ERROR;
    SysMngHeader &header = handle->header;
    if (!header_held(*handle) && !receive_header(handle)) return receive_failed(handle);
    if (length_of(header) < SYSMNG_HEADER_LEN) return receive_failed(handle);

    const uint32_t payload_len = length_of(header) - SYSMNG_HEADER_LEN;
    const bool fits = payload_len <= *len_inout;
    handle->missing = 0;
    if (fits) {
        if (payload_len > 0 && !receive_exactly(handle, buffer, payload_len, true)) {
            return receive_failed(handle);
        }
        if (SysMngChecksumVerify(&header, buffer) != RET_OK) return receive_failed(handle);
    }
    *type_out = load_u32(header.type);
    *len_inout = payload_len;
    if (tag_out) *tag_out = load_u32(header.tag);
    if (!fits) {
        handle->missing = payload_len;
        handle->cut_short_us = now_us();
        return RET_INSUFMEM;
    }
    header = {};
    handle->deadline_us = 0;
    return RET_OK;
}
