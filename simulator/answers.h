/* The answers to the commands, as the tables of commands.cpp use them. A
 * report is a reply record; anything else carries a request out, whose payload
 * is as long as the table says. */
#pragma once

#include "simulator/commands.h"
#include "simulator/device.h"
#include "simulator/protocol.h"

/* settings.cpp */
Reply read_setting(Device &device, const SettingsRow &row);
Reply write_setting(Device &device, const SettingsRow &row, const Request &request);
void change_password(Device &device, RecordBytes &given, Complaints &complaints);
void set_clock(Device &device, RecordBytes &given, Complaints &complaints);
Bytes decoder_summary_report(const Device &device);
Bytes notice_report(const Device &device);

/* items.cpp */
Reply read_items(Device &device, const ItemsRow &row, const Request &request);
Reply create_item(Device &device, const ItemsRow &row, const Request &request);
Reply change_item(Device &device, const ItemsRow &row, const Request &request);
Reply remove_item(Device &device, const ItemsRow &row, const Request &request);
Reply activate_configuration(Device &device, const Request &request);
Reply change_interfaces(Device &device, const Request &request);
Bytes interfaces_report(const Device &device);
Bytes sap_streams_report(const Device &device);

/* A request for one item carries its identifier twice. */
constexpr size_t id_request_size = 8;
int32_t requested_id(const Request &request);
Reply no_such_item(int32_t id);

/* channel.cpp */
Reply select_stream(Device &device, const Request &request);
Reply start_channel(Device &device, const Request &request);
Reply stop_channel(Device &device, const Request &request);
Reply start_talkback(Device &device, const Request &request);
Reply stop_talkback(Device &device, const Request &request);
Bytes channel_report(const Device &device);
Bytes channel_info_report(const Device &device);
Bytes zixi_stats_report(const Device &device);
Bytes srt_stats_report(const Device &device);
/* As at power-on: the first stream is selected and the channel runs. */
void select_first_stream(Device &device);
/* Sets every stream's status, and stops the channel when its stream is gone. */
void mark_running_stream(Device &device);

/* status.cpp */
Reply restart(Device &device, const Request &request);
Reply reset_to_factory(Device &device, const Request &request);
Bytes uptime_report(const Device &device);
Bytes changes_report(const Device &device);
Bytes ports_report(const Device &device);
Bytes leds_report(const Device &device);
Bytes freespace_report(const Device &device);

/* upgrade.cpp */
Reply start_upgrade(Device &device, const Request &request);
Reply install_certificate(Device &device, const Request &request);
Reply use_default_certificate(Device &device, const Request &request);
Bytes upgrade_report(const Device &device);
/* Puts the new software in place when an upgrade has taken its time. */
void finish_upgrade(Device &device);
/* A file is refused with a result record, and not with a validation list. */
Reply refuse_file(const std::string &reason);
