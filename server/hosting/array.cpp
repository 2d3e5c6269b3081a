#include <cstdlib>
#include <cstring>

#include "server/hosting/memory.h"

namespace {

/* `data` has the entries in the order of creation, and after them those of
 * earlier requests, for reuse. `sorted` has the indexes of the used ones in the
 * order of their keys. */
constexpr size_t step = 16;

struct Entry {
    data_string shown; /* first: the array hands out its address */
    buffer key;
    buffer value;
};

Entry *entry_at(const array *a, size_t index)
{
    return reinterpret_cast<Entry *>(a->data[index]);
}

unsigned char lower(char c)
{
    const unsigned char byte = static_cast<unsigned char>(c);
    return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte | 0x20) : byte;
}

/* Any order serves; by length first is the quickest. */
int compare(std::string_view a, std::string_view b)
{
    if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
    for (size_t i = 0; i < a.size(); ++i) {
        const int difference = lower(a[i]) - lower(b[i]);
        if (difference != 0) return difference;
    }
    return 0;
}

struct Position {
    bool found;
    size_t rank; /* in `sorted`: of the entry, or where it belongs */
};

Position position_of(const array *a, std::string_view key)
{
    size_t low = 0, high = a->used;
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        const int order = compare(key, text_of(entry_at(a, a->sorted[middle])->key));
        if (order == 0) return {true, middle};
        if (order < 0) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    return {false, low};
}

void grow(array *a)
{
    const size_t size = a->size + step;
    a->data = static_cast<data_unset **>(need_more(a->data, size * sizeof(*a->data)));
    a->sorted = static_cast<size_t *>(need_more(a->sorted, size * sizeof(*a->sorted)));
    memset(a->data + a->size, 0, step * sizeof(*a->data));
    a->size = size;
}

Entry *new_entry()
{
    Entry *entry = static_cast<Entry *>(need(sizeof(Entry)));
    memset(entry, 0, sizeof(*entry));
    entry->shown.key = &entry->key;
    entry->shown.value = &entry->value;
    return entry;
}

Entry *insert_at(array *a, size_t rank)
{
    if (a->used == a->size) grow(a);
    const size_t index = a->used;
    if (!a->data[index]) a->data[index] = reinterpret_cast<data_unset *>(new_entry());
    memmove(a->sorted + rank + 1, a->sorted + rank, (index - rank) * sizeof(*a->sorted));
    a->sorted[rank] = index;
    ++a->used;
    return entry_at(a, index);
}

} // namespace

array *array_init()
{
    return static_cast<array *>(calloc(1, sizeof(array)));
}

void array_free(array *a)
{
    if (!a) return;
    for (size_t i = 0; i < a->size; ++i) {
        Entry *entry = entry_at(a, i);
        if (!entry) continue;
        free(entry->key.ptr);
        free(entry->value.ptr);
        free(entry);
    }
    free(a->data);
    free(a->sorted);
    free(a);
}

void array_reset(array *a)
{
    if (!a) return;
    for (size_t i = 0; i < a->used; ++i) {
        buffer_reset(&entry_at(a, i)->key);
        buffer_reset(&entry_at(a, i)->value);
    }
    a->used = 0;
}

void array_set_key_value(array *a, const char *key, size_t key_len, const char *value,
                         size_t val_len)
{
    const Position position = position_of(a, {key, key_len});
    Entry *entry = nullptr;
    if (position.found) {
        entry = entry_at(a, a->sorted[position.rank]);
    } else {
        entry = insert_at(a, position.rank);
        assign(entry->key, {key, key_len});
    }
    assign(entry->value, {value, val_len});
}

data_unset *array_get_element_klen(const array *a, const char *key, size_t klen)
{
    const Position position = position_of(a, {key, klen});
    return position.found ? a->data[a->sorted[position.rank]] : nullptr;
}
