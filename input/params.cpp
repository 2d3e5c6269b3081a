#include "input/params.h"

#include <cstdio>
#include <cstring>

namespace {

/* An indexed key, cut to 78 characters. */
struct Key {
    char text[79];
};

Key key_of(const char *name, int i)
{
    Key key;
    snprintf(key.text, sizeof(key.text), "%s[%d]", name, i);
    return key;
}

Key key_of(const char *name, int i, int j)
{
    Key key;
    snprintf(key.text, sizeof(key.text), "%s[%d][%d]", name, i, j);
    return key;
}

data_unset *element(array *params, const char *key)
{
    return array_get_element_klen(params, key, strlen(key));
}

} // namespace

bool store_parameter(array *params, Span key, Span value)
{
    if (params->used >= MOST_PARAMETERS) return false;
    array_set_key_value(params, key.data, key.length, value.data, value.length);
    return true;
}

const char *get_value(array *params, const char *key)
{
    data_unset *entry = element(params, key);
    if (!entry) return nullptr;
    buffer *value = reinterpret_cast<data_string *>(entry)->value;
    buffer_urldecode_path(value);
    return value->ptr ? value->ptr : "";
}

const char *get_array_element_value(array *params, const char *name, int i)
{
    return get_value(params, key_of(name, i).text);
}

const char *get_2darray_element_value(array *params, const char *name, int i, int j)
{
    return get_value(params, key_of(name, i, j).text);
}

bool has_array_element(array *params, const char *name, int i)
{
    return element(params, key_of(name, i).text) != nullptr;
}
