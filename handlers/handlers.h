/* Every handler that the route table names. All of them are exported. */
#pragma once

#include "handlers/handler.h"

#pragma GCC visibility push(default)
extern "C" {

/* Streams, decoder, channel */
Handler handle_stream_get, handle_stream_post;
IdHandler handle_stream_stream_id_get, handle_stream_stream_id_put;
IdHandler handle_stream_stream_id_delete;
Handler handle_stream_select_get;
IdHandler handle_stream_select_stream_id_put;
Handler handle_decoder_get, handle_decoder_put;
Handler handle_decoder_video_get, handle_decoder_video_put;
Handler handle_decoder_audio_get, handle_decoder_audio_put;
Handler handle_decoder_configuration_get, handle_decoder_configuration_put;
Handler handle_decoder_vbianc_get, handle_decoder_vbianc_put;
Handler handle_decoder_talkback_get, handle_decoder_talkback_put;
Handler handle_talkback_get, handle_talkback_start_put, handle_talkback_stop_put;
Handler handle_channel_get, handle_channel_info_get;
Handler handle_channel_start_put, handle_channel_stop_put;

/* Device administration */
Handler handle_network_get, handle_network_put;
Handler handle_sap_get, handle_sap_put;
Handler handle_sap_stream_get, handle_sap_stream_post;
Handler handle_security_get, handle_security_put;
Handler handle_security_certificate_post, handle_security_certificate_default_put;
Handler handle_notice_get;
Handler handle_sysdatetime_get, handle_sysdatetime_put;
Handler handle_ports_get, handle_leds_get;
Handler handle_services_get, handle_services_put;
Handler handle_configuration_get, handle_configuration_post;
IdHandler handle_configuration_conf_id_get, handle_configuration_conf_id_put;
IdHandler handle_configuration_conf_id_delete;
Handler handle_configuration_activate_get;
IdHandler handle_configuration_activate_conf_id_put;
Handler handle_general_get, handle_general_freespace_get;
Handler handle_general_restart_put, handle_general_factory_reset_put;
Handler handle_general_firmware_upgrade_post, handle_general_upgrade_status_get;
Handler handle_general_uid_led_post;
Handler handle_login_get, handle_login_post;
Handler handle_logout_get, handle_logout_post;

/* Status */
Handler handle_uptime_get, handle_changes_get;
Handler handle_zixi_stats_get, handle_srt_stats_get;
}
#pragma GCC visibility pop
