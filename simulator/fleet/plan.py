# SPDX-License-Identifier: ISC
"""What goes wrong in a fleet, and the alerts that must come of it."""
import collections
import random

# These come and go where an answer is late: on a busy machine, or as the daemon waits for a silent
# modem, whose seconds pass for minutes.
SLOW = ("RouterSilent", "MetricsStale")

# One router of `share` gets it, one at least. `delay` is the time in s that the daemon takes to
# notice. `passing`: other alerts that may come and go meanwhile.
Fault = collections.namedtuple("Fault", "name share inject alert delay passing",
                               defaults=[2, ()])


def lose_network(router):
    router.call("simulator", "radio", registered=False)


def remove_sim(router):
    router.call("simulator", "sim", slot=1, inserted=False)


def lock_sim(router):
    router.call("simulator", "sim", slot=1, lock="SIM PIN")
    router.call("kelvantorium", "reinit", client="fleet")


def silence_modem(router):
    router.call("simulator", "fault", command="AT", kind="silence")


def weaken_signal(router):
    router.call("simulator", "signal", rssi="2", rsrp="10", rsrq="2", sinr="2")


def lose_satellites(router):
    router.call("simulator", "gnss", fix=False)


def send_messages(router):
    router.call("simulator", "storage", capacity=40)
    for number in range(30):
        router.call("simulator", "sms", sender="79160000000", text=f"Alarm {number}")


def repeat_metrics(router):
    router.answer = router.metrics()[1]


def drop_metrics(router):
    router.answer = b""


# Not here: a day of unread messages and ten initialisations in an hour, for which the seconds of an
# accelerated run are too short, and an empty file of targets, which concerns no router.
FAULTS = [
    Fault("network lost", 10, lose_network, "NoNetwork"),
    Fault("SIM removed", 20, remove_sim, "SimRemoved"),
    Fault("SIM locked", 40, lock_sim, "SimUnusable", 20, ("Initialising",)),
    Fault("modem silent", 20, silence_modem, "ModemError", 20),
    Fault("daemon killed", 20, lambda router: router.kill_daemon(), "DaemonDown"),
    Fault("router gone", 20, lambda router: router.kill(), "RouterSilent"),
    Fault("signal weak", 40, weaken_signal, "SignalWeak"),
    Fault("no satellites", 40, lose_satellites, "GnssNoFix"),
    Fault("messages pile up", 40, send_messages, "MessagesFull", 35),
    Fault("old metrics", 40, repeat_metrics, "MetricsStale"),
    Fault("no metrics", 40, drop_metrics, "MetricsMissing"),
]


def plan(routers, seed):
    """Which router gets which fault."""
    chosen = list(routers)
    random.Random(seed).shuffle(chosen)
    faults = [fault for fault in FAULTS for _ in range(max(1, len(routers) // fault.share))]
    return dict(zip(chosen, faults))
