/* The channel: the selected stream, as it is received and decoded. */
#pragma once

#include "simulator/answer.h"

Answer select_stream, start_channel, stop_channel, start_talkback, stop_talkback;
Answer read_channel, read_channel_info, read_zixi_stats, read_srt_stats;

/* As at power-on: the first stream is selected and the channel runs. */
void select_first_stream(Device &device);

/* Sets every stream's status, and stops the channel when its stream is gone. */
void mark_running_stream(Device &device);
