// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <boost/optional.hpp>
#include <json/json.h>

#include "common/exception.h"
#include "common/record.h"

namespace zephran::common {

ZEPHRAN_RECORD(value, std::string, reported_at(405));
ZEPHRAN_RECORD(found_type, Json::ValueType, reported_at(410));
ZEPHRAN_RECORD(expected_type, Json::ValueType, reported_at(415));
ZEPHRAN_RECORD(parser_error, std::string, reported_at(420));

struct MissingValueException : Exception {
    MissingValueException() : Exception{"Missing value in JSON object"} {}
};
struct UnexpectedTypeException : Exception {
    UnexpectedTypeException() : Exception{"Unexpected type in JSON object"} {}
};
struct ParserException : Exception {
    ParserException() : Exception{"Failed to parse JSON object"} {}
};

/// A message that is filled from a JSON object.
class JSONInitializable {
public:
    virtual ~JSONInitializable() = default;
    virtual void from_json(const Json::Value& object) = 0;

protected:
    JSONInitializable() = default;
    JSONInitializable(const JSONInitializable&) = default;
    JSONInitializable(JSONInitializable&&) = default;
    JSONInitializable& operator=(const JSONInitializable&) = default;
    JSONInitializable& operator=(JSONInitializable&&) = default;
};

/// A message that can be written as a JSON object.
class JSONSerializable {
public:
    virtual ~JSONSerializable() = default;
    [[nodiscard]] virtual Json::Value to_json() const = 0;

protected:
    JSONSerializable() = default;
    JSONSerializable(const JSONSerializable&) = default;
    JSONSerializable(JSONSerializable&&) = default;
    JSONSerializable& operator=(const JSONSerializable&) = default;
    JSONSerializable& operator=(JSONSerializable&&) = default;
};

/// Turns a representation into a document.
template <class Representation>
class JSONParser {
public:
    virtual ~JSONParser() = default;
    virtual Json::Value operator()(const Representation& representation) const = 0;
};

/// Turns a document into a representation.
template <class Representation>
class JSONWriter {
public:
    virtual ~JSONWriter() = default;
    virtual Representation operator()(const Json::Value& value) const = 0;
};

/// Fetches the document found at an address.
template <class Address>
class JSONReceiver {
public:
    virtual ~JSONReceiver() = default;
    virtual Json::Value operator()(const Address& address) const = 0;
};

/// Sends a document to an address.
template <class Address>
class JSONTransmitter {
public:
    virtual ~JSONTransmitter() = default;
    virtual void operator()(const Address& address, const Json::Value& value) const = 0;
};

/// Reads text with jsoncpp's default settings.
class JSONDefaultParser : public JSONParser<std::string> {
public:
    /// @throws ParserException with parser_error_tag
    Json::Value operator()(const std::string& text) const override;
};

/// Writes text with jsoncpp's default settings: indented by tabs, members in ascending key order.
class JSONDefaultWriter : public JSONWriter<std::string> {
public:
    std::string operator()(const Json::Value& value) const override;
};

/// Takes a mandatory member out of an object. A member that is null counts as missing, and null
/// itself as an object without members.
///
/// Both forms throw UnexpectedTypeException with value_tag (the key), found_type_tag and
/// expected_type_tag (objectValue) when they are asked about anything but an object or null.
struct JSONValueExtractor {
    /// @throws MissingValueException with value_tag (the key)
    const Json::Value& operator()(const Json::Value& object, const std::string& key) const;
    /// The type must be exactly the given one: jsoncpp reads 5 as intValue, not as uintValue.
    /// @throws MissingValueException as above
    /// @throws UnexpectedTypeException with value_tag, found_type_tag, expected_type_tag
    const Json::Value& operator()(const Json::Value& object, const std::string& key,
                                  Json::ValueType type) const;
};

/// Takes an optional member out of an object; empty when it is absent or null, or when there is no
/// object to have one.
struct JSONOptionalValueExtractor {
    /// Never throws.
    boost::optional<const Json::Value&> operator()(const Json::Value& object,
                                                   const std::string& key) const;
    /// @throws UnexpectedTypeException as JSONValueExtractor does, for a member of another type
    boost::optional<const Json::Value&> operator()(const Json::Value& object,
                                                   const std::string& key,
                                                   Json::ValueType type) const;
};

}  // namespace zephran::common
