/* Form parameters of the current request, looked up by key. Values are stored
 * percent-encoded; each lookup decodes the value where it lies. */
#pragma once

#include "input/span.h"
#include "server/lighttpd.h"

/* The limits of one body's parameters, several times the largest form. The rest
 * is dropped. */
constexpr size_t MOST_PARAMETERS = 1024;
constexpr size_t MOST_PARAMETER_BYTES = 256 * 1024; /* keys and values in all */

/* Stores a parameter, in place of an earlier one with the same key. False when
 * there are as many as there may be. */
bool store_parameter(array *params, Span key, Span value);

/* The decoded value of `key`, of `name[i]` or of `name[i][j]`; null when there
 * is none. It stays valid until the same entry is stored again or the array is
 * reset. An indexed key is cut to its first 78 characters. */
const char *get_value(array *params, const char *key);
const char *get_array_element_value(array *params, const char *name, int i);
const char *get_2darray_element_value(array *params, const char *name, int i, int j);

/* Whether `name[i]` was given; decodes nothing. */
bool has_array_element(array *params, const char *name, int i);
