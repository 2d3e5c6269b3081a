/* Lists of records that are told apart by their identifiers. */
#pragma once

#include "simulator/answer.h"

/* The request's record is the items'. */
Answer read_items, create_item, change_item, remove_item;

Answer activate_configuration;
Answer read_interfaces, change_interfaces, read_sap_streams;

Reply no_such_item(int32_t id);
