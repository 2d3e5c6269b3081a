/* The documents that follow from the route table and the records. */
#pragma once

#include <string>

/* `frame` is the document's hand-written part: JSON, or text in which lines
 * such as "@COMMANDS@" stand for what is generated. Empty when the frame makes
 * no sense. */
std::string openapi_json(const std::string &frame);
std::string daemon_protocol(const std::string &frame);
std::string client_types(const std::string &frame);

/* Replaces the mark by `by`; false when it is not there. */
bool replace_mark(std::string &text, const std::string &mark, const std::string &by);
