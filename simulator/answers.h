/* The answers to the commands, as the table of commands.cpp uses them: each
 * gets a request whose payload has the length that the table says. */
#pragma once

#include "simulator/device.h"
#include "simulator/protocol.h"

using Answer = Reply(Device &device, const Request &request);

/* settings.cpp: the request's record is the setting's. */
Answer read_setting, write_setting;
Answer read_decoder, read_notice;
/* All settings as they leave the factory. */
void reset_settings(Device &device);

/* items.cpp: the request's record is the items'. */
Answer read_items, create_item, change_item, remove_item;
Answer activate_configuration;
Answer read_interfaces, change_interfaces, read_sap_streams;
Reply no_such_item(int32_t id);

/* channel.cpp */
Answer select_stream, start_channel, stop_channel, start_talkback, stop_talkback;
Answer read_channel, read_channel_info, read_zixi_stats, read_srt_stats;
/* As at power-on: the first stream is selected and the channel runs. */
void select_first_stream(Device &device);
/* Sets every stream's status, and stops the channel when its stream is gone. */
void mark_running_stream(Device &device);

/* status.cpp */
Answer restart, reset_to_factory;
Answer read_uptime, read_changes, read_ports, read_leds, read_freespace;

/* upgrade.cpp */
Answer start_upgrade, install_certificate, use_default_certificate, read_upgrade;
/* Puts the new software in place when an upgrade has taken its time. */
void finish_upgrade(Device &device);
/* A file is refused with a result record, and not with a validation list. */
Reply refuse_file(const std::string &reason);
