# SPDX-License-Identifier: ISC
"""The access files name every method of the object and its notifications once, nothing else, and
grant no program. The web page of who may change settings also asks which options there are."""
import glob
import json
import sys

METHODS = [":subscribe", "at_send", "get", "reinit", "set", "sms_clear", "sms_get", "sms_send", "ussd_send"]

broker = {}
for path in glob.glob(sys.argv[1] + "/acl.d/*.json"):
    grant = json.load(open(path))
    methods = grant["access"].pop("kelvantorium")["methods"]
    methods += [":subscribe" for name in grant.pop("subscribe", []) if name == "kelvantorium"]
    broker[grant.pop("group")] = sorted(methods)
    assert grant == {"access": {}}, path
assert sorted(sum(broker.values(), [])) == METHODS, broker

web = {}
for group, grant in json.load(open(sys.argv[1] + "/kelvantorium.rpcd.json")).items():
    grants = [grant.get("read", {}), grant.get("write", {})]
    web[group] = sorted(sum((g.get("ubus", {}).pop("kelvantorium", []) for g in grants), []))
    for rights in grants:
        assert set(rights) <= {"ubus", "uci"}, group
        assert rights.get("ubus", {}) in ({}, {"uci": ["get"]} if "uci" in rights else {}), group
assert web == broker, (web, broker)
