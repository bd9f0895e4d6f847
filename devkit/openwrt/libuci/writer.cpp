// SPDX-License-Identifier: Apache-2.0
#include "writer.h"

#include "model.h"

namespace zephran::uci_standin {

namespace {

void append_line(std::string& text, const char* keyword, const std::string& name,
                 const std::string& value) {
    text.append("\t").append(keyword).append(" ").append(name).append(" ");
    text.append(quoted(value)).append("\n");
}

void append_option(std::string& text, const Option& option) {
    if (option.visible.type == string_option) {
        append_line(text, "option", option.name, option.text);
    }
    for (const std::string& item : option.items) {
        append_line(text, "list", option.name, item);
    }
}

}  // namespace

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char character : text) {
        if (character == '\'') {
            result += R"('\'')";
        } else {
            result += character;
        }
    }
    return result + '\'';
}

std::string configuration_text(const Package& package) {
    std::string text;
    for (const Section& section : package.sections) {
        text.append("\nconfig ").append(section.type);
        if (!section.anonymous) {
            text.append(" ").append(quoted(section.name));
        }
        text.append("\n");
        for (const Option& option : section.options) {
            append_option(text, option);
        }
    }
    return text + '\n';
}

}  // namespace zephran::uci_standin
