/* The client side of the management daemon's message protocol: a 13-byte
 * header and a payload on a Unix-domain stream socket. The socket does not
 * block; only SysMngWaitMsg waits, and SysMngReceiveMsg for the rest of a
 * message that arrives in pieces.
 *
 * One exchange is SysMngSendMsg, SysMngWaitMsg, SysMngReceiveMsg. A handle
 * serves one caller on one thread, and is never reconnected. */
#pragma once

#include <sys/time.h>

#include <cstddef>
#include <cstdint>

enum : int {
    RET_OK = 0,
    RET_ERROR = -1,   /* bad argument, failed call, message cut short, bad length or checksum */
    RET_TIMEOUT = -2, /* SysMngWaitMsg: nothing came in time */
    RET_INSUFMEM = -3 /* SysMngReceiveMsg: the buffer is smaller than the payload */
};

/* Indexes of SYSMNG_SOCKET_PATHS. */
enum : uint32_t { SYSMNG_DECODER, SYSMNG_WEB_PLUGIN, SYSMNG_CMD_CLIENT };
extern const char *const SYSMNG_SOCKET_PATHS[3];

/* No exchange takes longer than this, from the wait to the last byte of the
 * reply. */
constexpr time_t SYSMNG_EXCHANGE_SECONDS = 30;

/* A message header as it travels, for load_u32 and store_u32. */
struct SysMngHeader {
    uint8_t type[4];
    uint8_t length[4]; /* of the whole message, header included */
    uint8_t tag[4];
    uint8_t checksum; /* makes the sum of all bytes of the message 0, in 8 bits */
};
constexpr uint32_t SYSMNG_HEADER_LEN = 13;
static_assert(sizeof(SysMngHeader) == SYSMNG_HEADER_LEN);
static_assert(offsetof(SysMngHeader, length) == 4 && offsetof(SysMngHeader, tag) == 8);
static_assert(offsetof(SysMngHeader, checksum) == 12);

struct SysMngHandle {
    int fd;
    SysMngHeader header;  /* of a message whose payload is still unread; length 0: none */
    bool stale_input;     /* input was dropped, and more of it may follow */
    uint32_t missing;     /* bytes of a message that was not read to its end */
    int64_t cut_short_us; /* when the last of the others were */
    int64_t waited_us;    /* for the message that is being received */
    int64_t deadline_us;  /* of its last byte; 0 while it has not been needed */
};

/* Connects to SYSMNG_SOCKET_PATHS[index]. Null when that fails; the handle is
 * the caller's to give to SysMngDisconnect. */
SysMngHandle *SysMngConnect(uint32_t index);

/* Drains pending input, closes and frees. A null handle is ignored. */
void SysMngDisconnect(SysMngHandle *handle);

/* Drops all pending input and the held header. What arrives of it later is
 * dropped by the next SysMngSendMsg, which gives the rest of a message that was
 * not read to its end a moment to arrive. Returns -1 for a null handle, else 0. */
int SysMngClearQueue(SysMngHandle *handle);

/* Sends one message; `payload` may be null when `payload_len` is 0. Returns 0
 * when the whole message left, else -1. */
int SysMngSendMsg(SysMngHandle *handle, uint32_t tag, uint32_t type, const uint8_t *payload,
                  uint32_t payload_len);

/* Waits until there is something to receive: 0, -1 (also at once, while a
 * header is held) or -2. A signal does not end the wait. */
int SysMngWaitMsg(SysMngHandle *handle, timeval timeout);

/* Receives one message, in any pieces as long as each follows the one before
 * within 250 ms and the exchange is not over its time. Messages after it stay
 * in the socket. `*len_inout` is the buffer's capacity, at least 1, and becomes
 * the payload's length. Returns 0; -3 with the length needed, the payload left
 * in the socket for a second call with a larger buffer; or -1 with all pending
 * input dropped. `tag_out` may be null. */
int SysMngReceiveMsg(SysMngHandle *handle, uint32_t *tag_out, uint32_t *type_out, uint8_t *buffer,
                     uint32_t *len_inout);

/* Sets the header's checksum over header and payload. The header's length says
 * how many payload bytes there are. Returns 0 or -1. */
int SysMngChecksumGenerate(SysMngHeader *header, const uint8_t *payload);

/* 0 when the checksum holds, else -1. */
int SysMngChecksumVerify(const SysMngHeader *header, const uint8_t *payload);
