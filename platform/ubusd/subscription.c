// SPDX-License-Identifier: ISC
/*
 * Bus broker: which object is told what another one notifies.
 */
#include <stdlib.h>

#include "ubusd.h"

static struct blob_buf out;

static bool tell(struct ubusd_object *object, int type)
{
    return ubusd_send(object->client, type, ++object->told, 0, out.head);
}

static void tell_publisher(struct ubusd_object *target)
{
    blob_buf_init(&out, 0);
    blob_put_u32(&out, UBUS_ATTR_OBJID, target->id);
    blob_put_u8(&out, UBUS_ATTR_ACTIVE, list_empty(&target->subscribers) ? 0 : 1);
    (void)tell(target, UBUS_MSG_NOTIFY);
}

bool ubusd_subscribe(struct ubusd_object *subscriber, struct ubusd_object *target)
{
    const bool first = list_empty(&target->subscribers);
    struct ubusd_subscription *subscription = calloc(1, sizeof(*subscription));
    if (subscription == NULL) return false;
    subscription->target = target;
    subscription->subscriber = subscriber;
    list_add_tail(&subscription->of_target, &target->subscribers);
    list_add_tail(&subscription->of_subscriber, &subscriber->targets);
    if (first) tell_publisher(target);
    return true;
}

static void end(struct ubusd_subscription *subscription)
{
    list_del(&subscription->of_target);
    list_del(&subscription->of_subscriber);
    free(subscription);
}

static void leave(struct ubusd_subscription *subscription)
{
    struct ubusd_object *target = subscription->target;
    end(subscription);
    if (list_empty(&target->subscribers)) tell_publisher(target);
}

bool ubusd_unsubscribe(struct ubusd_object *subscriber, struct ubusd_object *target)
{
    struct ubusd_subscription *subscription;
    list_for_each_entry(subscription, &subscriber->targets, of_subscriber)
    {
        if (subscription->target != target) continue;
        leave(subscription);
        return true;
    }
    return false;
}

void ubusd_end_subscriptions(struct ubusd_object *object)
{
    /* Who is given up here goes later, when its connection is read: the lists stay as they are. */
    struct ubusd_subscription *subscription, *following;
    list_for_each_entry_safe(subscription, following, &object->targets, of_subscriber)
    {
        leave(subscription);
    }
    list_for_each_entry_safe(subscription, following, &object->subscribers, of_target)
    {
        struct ubusd_object *subscriber = subscription->subscriber;
        end(subscription);
        blob_buf_init(&out, 0);
        blob_put_u32(&out, UBUS_ATTR_OBJID, subscriber->id);
        blob_put_u32(&out, UBUS_ATTR_TARGET, object->id);
        if (!tell(subscriber, UBUS_MSG_UNSUBSCRIBE)) ubusd_give_up(subscriber->client);
    }
}
