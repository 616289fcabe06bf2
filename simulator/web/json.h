// SPDX-License-Identifier: ISC
// JSON values that are given back at the end of their scope.
#pragma once

#include <memory>

#include <json-c/json.h>

struct json_putter {
    void operator()(json_object *object) const
    {
        json_object_put(object);
    }
};
using json_value = std::unique_ptr<json_object, json_putter>;
