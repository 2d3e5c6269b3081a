/* Records as JSON schemas: in answers, and in forms. */
#pragma once

#include <nlohmann/json.hpp>

#include "reply/record.h"

using Json = nlohmann::ordered_json;

/* A reference to one of the document's components. */
Json reference(const std::string &kind, const std::string &name);

Json array_of(const Json &items, uint32_t count);

/* Each puts its schema, and those within it, among `schemas`, and returns a
 * reference to it. */
Json answer_schema(const Record &record, Json &schemas);
Json form_schema(const Record &record, Json &schemas);
Json indexed_form_schema(const Record &record, Json &schemas);

/* The contents of a request that brings such a form, in the ways in which it
 * can be sent. `schema` is that of the form or a reference to it. */
Json form_content(const Json &schema, const Json &schemas);
Json upload_content(const Record &record, Json &schemas);
