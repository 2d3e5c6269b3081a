#include "handlers/handlers.h"
#include "reply/answers.h"

handler_t handle_login_get(server *, connection *, plugin_data *)
{
    return answer_empty();
}

handler_t handle_login_post(server *, connection *con, plugin_data *p)
{
    return answer_fixed(con, p);
}

handler_t handle_logout_get(server *, connection *, plugin_data *)
{
    return answer_empty();
}

handler_t handle_logout_post(server *, connection *con, plugin_data *p)
{
    return answer_fixed(con, p);
}
