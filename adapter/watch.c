#include "adapter/watch.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include "base.h"
#include "fdevent.h"

#include "adapter/bridge.h"
#include "adapter/versions.h"

/* The nodes are made when they are first needed: the server has its event loop
 * only after it has forked. */
static server *srv;
static fdnode *daemon_node, *timer_node;
static int timer = -1;

static handler_t on_event(void *context, int revents)
{
    (void)context;
    (void)revents;
    module_go_on();
    return HANDLER_FINISHED;
}

static void set_timer(int64_t microseconds)
{
    const struct timespec in = {
        .tv_sec = (time_t)(microseconds / 1000000),
        .tv_nsec = (int32_t)(microseconds % 1000000) * 1000 + 1 /* 0 would stop it */};
    timerfd_settime(timer, 0, &(const struct itimerspec){.it_value = in}, NULL);
}

static int make_timer(void)
{
    timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (timer < 0) return 0;
    timer_node = fdevent_register(srv->ev, timer, on_event, NULL);
    return 1;
}

int server_watch(int fd, int64_t microseconds)
{
    if (!srv || (timer < 0 && !make_timer())) return 0;
    if (fd >= 0 && !daemon_node) daemon_node = fdevent_register(srv->ev, fd, on_event, NULL);
    set_timer(microseconds);
    fdevent_fdnode_event_set(srv->ev, timer_node, FDEVENT_IN);
    if (fd >= 0) fdevent_fdnode_event_set(srv->ev, daemon_node, FDEVENT_IN);
    return 1;
}

/* Nodes that nobody waits for are left out of the loop, as a daemon that has
 * hung up would make an event of every turn. */
void server_unwatch(void)
{
    if (timer_node) fdevent_fdnode_event_del(srv->ev, timer_node);
    if (daemon_node) fdevent_fdnode_event_del(srv->ev, daemon_node);
}

void watch_begin(struct server *s)
{
    srv = s;
}

static void drop(fdnode **node)
{
    if (!*node) return;
    fdevent_fdnode_event_del(srv->ev, *node);
    UNREGISTER(srv->ev, *node);
    *node = NULL;
}

void watch_end(void)
{
    drop(&daemon_node);
    drop(&timer_node);
    if (timer >= 0) close(timer);
    timer = -1;
    srv = NULL;
}
