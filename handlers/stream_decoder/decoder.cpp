#include "handlers/handlers.h"
#include "handlers/stream_decoder/records.h"
#include "reply/answers.h"

using namespace records;

handler_t handle_decoder_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_DECODER_GET, decoder_summary_record);
}

handler_t handle_decoder_put(server *, connection *, plugin_data *)
{
    return answer_empty();
}

handler_t handle_decoder_video_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_DECODER_VIDEO_GET, decoder_video_record);
}

handler_t handle_decoder_video_put(server *srv, connection *con, plugin_data *p)
{
    return write_record(srv, con, p, CMD_DECODER_VIDEO_SET, decoder_video_record);
}

handler_t handle_decoder_audio_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_DECODER_AUDIO_GET, decoder_audio_record);
}

handler_t handle_decoder_audio_put(server *srv, connection *con, plugin_data *p)
{
    return write_record(srv, con, p, CMD_DECODER_AUDIO_SET, decoder_audio_record);
}

handler_t handle_decoder_configuration_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_DECODER_CONFIGURATION_GET, decoder_configuration_record);
}

handler_t handle_decoder_configuration_put(server *srv, connection *con, plugin_data *p)
{
    return write_record(srv, con, p, CMD_DECODER_CONFIGURATION_SET, decoder_configuration_record);
}

handler_t handle_decoder_vbianc_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_DECODER_VBIANC_GET, decoder_vbianc_record);
}

handler_t handle_decoder_vbianc_put(server *srv, connection *con, plugin_data *p)
{
    return write_record(srv, con, p, CMD_DECODER_VBIANC_SET, decoder_vbianc_record);
}

handler_t handle_decoder_talkback_get(server *srv, connection *con, plugin_data *p)
{
    return read_record(srv, con, p, CMD_DECODER_TALKBACK_GET, decoder_talkback_record);
}

handler_t handle_decoder_talkback_put(server *srv, connection *con, plugin_data *p)
{
    return write_record(srv, con, p, CMD_DECODER_TALKBACK_SET, decoder_talkback_record);
}

handler_t handle_talkback_get(server *, connection *, plugin_data *)
{
    return answer_empty();
}

handler_t handle_talkback_start_put(server *srv, connection *con, plugin_data *p)
{
    return run_command(srv, con, p, CMD_TALKBACK_START);
}

handler_t handle_talkback_stop_put(server *srv, connection *con, plugin_data *p)
{
    return run_command(srv, con, p, CMD_TALKBACK_STOP);
}
