#include "signature.h"

#include <algorithm>
#include <optional>

#include "attribute.h"

namespace zephran::ubusd {

namespace {

bool is_argument(const Attribute& attribute) {
    const std::optional<NamedValue> argument = decode_named(attribute);
    return argument && argument->type == ValueType::int32 && argument->value.size() == 4;
}

bool is_method(const Attribute& attribute) {
    const std::optional<NamedValue> method = decode_named(attribute);
    if (!method || method->type != ValueType::table) {
        return false;
    }
    const AttributeList arguments = split_attributes(method->value);
    return arguments.complete &&
           std::all_of(arguments.attributes.begin(), arguments.attributes.end(), is_argument);
}

}  // namespace

bool is_signature(std::string_view list) {
    const AttributeList methods = split_attributes(list);
    return methods.complete &&
           std::all_of(methods.attributes.begin(), methods.attributes.end(), is_method);
}

}  // namespace zephran::ubusd
