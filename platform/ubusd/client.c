// SPDX-License-Identifier: ISC
/*
 * Bus broker: connections.
 */
#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <search.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "ubusd.h"

#define QUEUE_MAX ((size_t)UBUS_MAX_MSGLEN) /* octets; what comes then is dropped */
#define ACCEPT_PAUSE 100                    /* ms to wait for free descriptors */

static void *clients; /* by id */
static struct uloop_fd listener;
static struct uloop_timeout accept_timer;
static size_t monitor_count; /* without any, messages pass unseen */

struct ubusd_client *ubusd_find_client(uint32_t id)
{
    uint32_t *found = ubusd_id_find(&clients, id);
    return found != NULL ? container_of(found, struct ubusd_client, id) : NULL;
}

void ubusd_monitor(struct ubusd_client *client, bool on)
{
    if (client->monitors != on) monitor_count += on ? 1 : (size_t)-1;
    client->monitors = on;
}

/* What is shown of a message, in the way of twalk(). */
static const struct blob_attr *shown;

static void show_to(const void *node, VISIT order, int depth)
{
    static uint16_t seq;
    (void)depth;
    if (order != postorder && order != leaf) return;
    uint32_t *id = *(uint32_t *const *)node;
    struct ubusd_client *client = container_of(id, struct ubusd_client, id);
    if (client->monitors) (void)ubusd_send(client, UBUS_MSG_MONITOR, ++seq, 0, shown);
}

/* Monitors are shown what the others say and are told. */
static void show(const struct ubusd_client *client,
                 const struct ubus_msghdr *hdr,
                 const struct blob_attr *body,
                 bool sent)
{
    static struct blob_buf out;
    if (monitor_count == 0 || client->monitors || client->id == 0) return;
    blob_buf_init(&out, 0);
    blob_put_u32(&out, UBUS_MONITOR_CLIENT, client->id);
    blob_put_u32(&out, UBUS_MONITOR_PEER, be32toh(hdr->peer));
    blob_put_u32(&out, UBUS_MONITOR_SEQ, be16toh(hdr->seq));
    blob_put_u32(&out, UBUS_MONITOR_TYPE, hdr->type);
    blob_put_u8(&out, UBUS_MONITOR_SEND, sent ? 1 : 0);
    blob_put(&out, UBUS_MONITOR_DATA, blob_data(body), (unsigned int)blob_len(body));
    if (blob_pad_len(out.head) > UBUS_MAX_MSGLEN) return;
    shown = out.head;
    twalk(clients, show_to);
}

static void free_client(struct ubusd_client *client)
{
    ubusd_monitor(client, false);
    if (client->id != 0) ubusd_id_release(&clients, &client->id);
    uloop_fd_delete(&client->sock);
    close(client->sock.fd);
    ubusd_remove_objects_of(client);
    free(client->reader.msg);
    free(client->queue);
    free(client->user);
    free(client->group);
    ubusd_peer_free(&client->peer);
    free(client);
}

void ubusd_give_up(struct ubusd_client *client)
{
    free(client->queue);
    client->queue = NULL;
    client->queued = client->sent = 0;
    shutdown(client->sock.fd, SHUT_RDWR);
}

/* Room for `more` octets at the end of the queue, which moves up once most of it is sent. */
static bool reserve(struct ubusd_client *client, size_t more)
{
    if (client->sent >= client->queued && client->sent > 0) {
        memmove(client->queue, client->queue + client->sent, client->queued);
        client->sent = 0;
    }
    char *queue = realloc(client->queue, client->sent + client->queued + more);
    if (queue == NULL) return false;
    client->queue = queue;
    return true;
}

bool ubusd_send(struct ubusd_client *client,
                int type,
                uint16_t seq,
                uint32_t peer,
                const struct blob_attr *body)
{
    const struct ubus_msghdr hdr = {
        .type = (uint8_t)type, .seq = htobe16(seq), .peer = htobe32(peer)};
    const size_t total = sizeof(hdr) + blob_raw_len(body);
    size_t done = 0;
    show(client, &hdr, body, true);
    if (client->queued == 0) {
        const ssize_t sent = ubus_send_part(client->sock.fd, &hdr, body, 0);
        if (sent < 0 || (size_t)sent == total)
            return true; /* a dead socket reports itself to the loop */
        done = (size_t)sent;
    } else if (!client->unlimited && client->queued + total > QUEUE_MAX) {
        return false;
    }
    if (!reserve(client, total - done)) {
        ubusd_give_up(client);
        return false;
    }
    char *end = client->queue + client->sent + client->queued;
    if (done < sizeof(hdr)) {
        memcpy(end, (const char *)&hdr + done, sizeof(hdr) - done);
        end += sizeof(hdr) - done;
        done = sizeof(hdr);
    }
    memcpy(end, (const char *)body + (done - sizeof(hdr)), total - done);
    client->queued = (size_t)(end - client->queue) - client->sent + total - done;
    uloop_fd_add(&client->sock, ULOOP_READ | ULOOP_WRITE);
    return true;
}

static void flush(struct ubusd_client *client)
{
    const ssize_t sent =
        send(client->sock.fd, client->queue + client->sent, client->queued, MSG_NOSIGNAL);
    if (sent > 0) {
        client->sent += (size_t)sent;
        client->queued -= (size_t)sent;
    }
    if (client->queued > 0) return;
    free(client->queue);
    client->queue = NULL;
    client->sent = 0;
    uloop_fd_add(&client->sock, ULOOP_READ);
}

/* The answer to one message goes out whole, a list of all objects for instance, unless the client
 * is behind already. */
static void answer(struct ubusd_client *client, struct ubus_msg *msg)
{
    client->unlimited = client->queued <= QUEUE_MAX;
    ubusd_handle(client, msg);
    client->unlimited = false;
}

/* One message at a time, so that every client has its turn. */
static void on_client(struct uloop_fd *sock, unsigned int events)
{
    struct ubusd_client *client = container_of(sock, struct ubusd_client, sock);
    struct ubus_msg *msg = NULL;
    if (sock->eof || sock->error) {
        free_client(client);
        return;
    }
    if ((events & ULOOP_WRITE) && client->queued > 0) flush(client);
    if (!(events & ULOOP_READ)) return;
    switch (ubus_reader_next(&client->reader, sock->fd, &msg)) {
        case UBUS_READ_AGAIN:
            break;
        case UBUS_READ_MESSAGE:
            show(client, &msg->hdr, ubus_msg_body(msg), false);
            answer(client, msg);
            free(msg);
            break;
        case UBUS_READ_INVALID:
        case UBUS_READ_END:
            free_client(client);
            break;
    }
}

/* Account names by the peer's credentials; false when one is unknown. */
static bool identify(struct ubusd_client *client)
{
    if (!ubusd_peer_read(client->sock.fd, &client->peer)) return false;
    const struct passwd *user = getpwuid(client->peer.uid);
    if (user != NULL) client->user = strdup(user->pw_name);
    const struct group *group = getgrgid(client->peer.groups[0]);
    if (group != NULL) client->group = strdup(group->gr_name);
    return client->user != NULL && client->group != NULL;
}

static void add_client(int fd)
{
    struct ubusd_client *client = calloc(1, sizeof(*client));
    if (client == NULL) {
        close(fd);
        return;
    }
    client->sock.fd = fd;
    client->sock.cb = on_client;
    INIT_LIST_HEAD(&client->objects);
    if (!identify(client) || uloop_fd_add(&client->sock, ULOOP_READ) != 0 ||
        !ubusd_id_assign(&clients, &client->id)) {
        client->id = 0;
        free_client(client);
        return;
    }
    const struct blob_attr empty = {.id_len = htobe32(sizeof(empty))};
    ubusd_send(client, UBUS_MSG_HELLO, 0, client->id, &empty);
}

static void on_accept_pause(struct uloop_timeout *timer)
{
    (void)timer;
    uloop_fd_add(&listener, ULOOP_READ);
}

static void on_listener(struct uloop_fd *sock, unsigned int events)
{
    (void)events;
    const int fd = accept4(sock->fd, NULL, NULL, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0) {
        add_client(fd);
        return;
    }
    if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return;
    /* Out of descriptors: the waiting client would wake the loop without end. */
    uloop_fd_delete(sock);
    uloop_timeout_set(&accept_timer, ACCEPT_PAUSE);
}

/* The folder of the socket, this level only; bind() tells whether that was enough. */
static void make_folder(const char *path)
{
    char folder[sizeof(((struct sockaddr_un *)NULL)->sun_path)];
    const char *end = strrchr(path, '/');
    if (end == NULL || end == path) return;
    memcpy(folder, path, (size_t)(end - path));
    folder[end - path] = '\0';
    (void)mkdir(folder, 0755);
}

int ubusd_listen(const char *path)
{
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    if (strlen(path) >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(address.sun_path, path, strlen(path) + 1);
    listener.fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    listener.cb = on_listener;
    accept_timer.cb = on_accept_pause;
    make_folder(path);
    (void)unlink(path);
    const mode_t mask = umask(0111); /* mode 0666 */
    const int bound =
        listener.fd < 0 ? -1 : bind(listener.fd, (struct sockaddr *)&address, sizeof(address));
    umask(mask);
    if (bound != 0 || listen(listener.fd, SOMAXCONN) != 0) return -1;
    return uloop_fd_add(&listener, ULOOP_READ);
}
