/* Checks layout.def against the server's own headers. */
#include "base.h"
#include "http_header.h"
#include "plugin.h"

#include <stddef.h>

#define PICK(lp64, ilp32) (sizeof(void *) == 8 ? (lp64) : (ilp32))
#define LAYOUT_OFFSET(type, field, lp64, ilp32) \
    _Static_assert(offsetof(type, field) == PICK(lp64, ilp32), "offset of " #type "." #field);
#define LAYOUT_SIZE(type, lp64, ilp32) \
    _Static_assert(sizeof(type) == PICK(lp64, ilp32), "size of " #type);
#define LAYOUT_VALUE(name, value) _Static_assert((name) == (value), "value of " #name);
#include "server/layout.def"
