// SPDX-License-Identifier: Apache-2.0
#include "common/json.h"

#include <memory>
#include <sstream>

#include "common/exception.h"

namespace zephran::common {

namespace {

ZEPHRAN_REPORTED(value);
ZEPHRAN_REPORTED(found_type);
ZEPHRAN_REPORTED(expected_type);
ZEPHRAN_REPORTED(parser_error);

void require_type(const Json::Value& value, const std::string& key, Json::ValueType type) {
    if (value.type() != type) {
        ZEPHRAN_THROW(UnexpectedTypeException{} << value_tag{key} << found_type_tag{value.type()}
                                                << expected_type_tag{type});
    }
}

}  // namespace

Json::Value JSONDefaultParser::operator()(const std::string& text) const {
    const std::unique_ptr<Json::CharReader> reader{Json::CharReaderBuilder{}.newCharReader()};
    Json::Value value;
    std::string errors;
    bool parsed = false;
    try {
        parsed = reader->parse(text.data(), text.data() + text.size(), &value, &errors);
    } catch (const Json::Exception& e) {
        // Nesting beyond the reader's stack limit is thrown instead of reported.
        errors += e.what();
    }
    if (!parsed) {
        ZEPHRAN_THROW(ParserException{} << parser_error_tag{errors});
    }
    return value;
}

std::string JSONDefaultWriter::operator()(const Json::Value& value) const {
    const std::unique_ptr<Json::StreamWriter> writer{Json::StreamWriterBuilder{}.newStreamWriter()};
    std::stringstream stream;
    writer->write(value, &stream);
    return stream.str();
}

const Json::Value& JSONValueExtractor::operator()(const Json::Value& object,
                                                  const std::string& key) const {
    if (!object.isNull()) {
        // For a subscript of anything else jsoncpp throws its own exception, which does not name
        // the member.
        require_type(object, key, Json::objectValue);
    }
    const Json::Value& member = object[key];
    if (member.isNull()) {
        ZEPHRAN_THROW(MissingValueException{} << value_tag{key});
    }
    return member;
}

const Json::Value& JSONValueExtractor::operator()(const Json::Value& object, const std::string& key,
                                                  Json::ValueType type) const {
    const Json::Value& member = (*this)(object, key);
    require_type(member, key, type);
    return member;
}

boost::optional<const Json::Value&> JSONOptionalValueExtractor::operator()(
    const Json::Value& object, const std::string& key) const {
    if (!object.isObject()) {
        return boost::none;
    }
    const Json::Value& member = object[key];
    if (member.isNull()) {
        return boost::none;
    }
    return member;
}

boost::optional<const Json::Value&> JSONOptionalValueExtractor::operator()(
    const Json::Value& object, const std::string& key, Json::ValueType type) const {
    const auto member = (*this)(object, key);
    if (member) {
        require_type(*member, key, type);
    }
    return member;
}

}  // namespace zephran::common
