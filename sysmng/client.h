/* The client side of the management daemon's message protocol: a 13-byte
 * header and a payload on a Unix-domain stream socket. Every send and receive
 * is one system call on a non-blocking socket; only SysMngWaitMsg waits.
 *
 * One exchange is SysMngSendMsg, SysMngWaitMsg, SysMngReceiveMsg. A handle
 * serves one caller on one thread, and is never reconnected. */
#pragma once

#include <sys/time.h>

#include <cstdint>

enum : int {
    RET_OK = 0,
    RET_ERROR = -1,   /* bad argument, failed call, short transfer, bad length or checksum */
    RET_TIMEOUT = -2, /* SysMngWaitMsg: nothing came in time */
    RET_INSUFMEM = -3 /* SysMngReceiveMsg: the buffer is smaller than the payload */
};

/* Indexes of SYSMNG_SOCKET_PATHS. */
enum : uint32_t { SYSMNG_DECODER, SYSMNG_WEB_PLUGIN, SYSMNG_CMD_CLIENT };
extern const char *const SYSMNG_SOCKET_PATHS[3];

constexpr uint32_t SYSMNG_HEADER_LEN = 13;

/* A message header as it travels: type, length (header included) and tag as
 * little-endian u32, then the checksum that makes the byte sum of the whole
 * message 0. */
struct SysMngHeader {
    uint8_t bytes[SYSMNG_HEADER_LEN];
};

struct SysMngHandle {
    int fd;
    SysMngHeader header; /* of a message whose payload is still unread; length 0: none */
    bool stale_input;    /* input was dropped, and more of it may follow */
};

/* Connects to SYSMNG_SOCKET_PATHS[index]. Null when that fails; the handle is
 * the caller's to give to SysMngDisconnect. */
SysMngHandle *SysMngConnect(uint32_t index);

/* Drains pending input, closes and frees. A null handle is ignored. */
void SysMngDisconnect(SysMngHandle *handle);

/* Drops all pending input and the held header. What arrives of it later is
 * dropped by the next SysMngSendMsg. Returns -1 for a null handle, else 0. */
int SysMngClearQueue(SysMngHandle *handle);

/* Sends one message; `payload` may be null when `payload_len` is 0. Returns 0
 * when the whole message left, else -1. */
int SysMngSendMsg(SysMngHandle *handle, uint32_t tag, uint32_t type, const uint8_t *payload,
                  uint32_t payload_len);

/* Waits until a message can be received: 0, -1 (also at once, while a header
 * is held) or -2. A message whose header is there gets the time to arrive
 * whole, as long as bytes keep coming. Nothing is taken from the stream. */
int SysMngWaitMsg(SysMngHandle *handle, timeval timeout);

/* Receives one message. `*len_inout` is the buffer's capacity, at least 1, and
 * becomes the payload's length. Returns 0; -3 with the length needed, the
 * payload left in the socket for a second call with a larger buffer; or -1
 * with all pending input dropped. `tag_out` may be null. */
int SysMngReceiveMsg(SysMngHandle *handle, uint32_t *tag_out, uint32_t *type_out, uint8_t *buffer,
                     uint32_t *len_inout);

/* Sets the header's checksum over header and payload. The header's length says
 * how many payload bytes there are. Returns 0 or -1. */
int SysMngChecksumGenerate(SysMngHeader *header, const uint8_t *payload);

/* 0 when the checksum holds, else -1. */
int SysMngChecksumVerify(const SysMngHeader *header, const uint8_t *payload);
