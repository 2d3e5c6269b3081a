#include "module/plugin.h"

/* The one symbol that the server looks up by its name. */
extern "C" EXPORTED int mod_kelto_sysmgmt_plugin_init(plugin *descriptor);

int mod_kelto_sysmgmt_plugin_init(plugin *descriptor)
{
    describe_plugin(descriptor);
    return 0;
}
