/* Decoders of whole bodies, as slow and as simple as they can be: what the
 * module's are held against. */
#pragma once

#include <string>

/* The parameters, as text_of tells of them. */
std::string naive_form(const std::string &body);

/* The uploads and the parameters, as text_of_uploads and text_of tell of them.
 * Of bodies with less than the limits. */
std::string naive_multipart(const std::string &body, const std::string &boundary);
