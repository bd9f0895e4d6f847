// SPDX-License-Identifier: Apache-2.0
#include "deployment/deployment_history.h"

#include <algorithm>

#include <regex.h>

#include "common/regex.h"
#include "deployment/action_message.h"
#include "hawkbit/detail_text.h"

namespace zephran::deployment_history {

namespace {

ZEPHRAN_REPORTED(history_message);

bool is_own_text(const std::string& message) {
    return find_action_message(message).has_value();
}

bool says_installation_started(const std::string& message) {
    return find_action_message(message) == ActionMessage::InstallationStarted;
}

bool names_chunk(const Chunk& chunk, const std::string& message) {
    return hawkbit::same_detail(hawkbit::chunk_string(chunk), message);
}

}  // namespace

bool holds_own_report(const ActionHistory& history) {
    const auto& messages = history.messages();
    return std::any_of(messages.begin(), messages.end(), is_own_text);
}

bool ends_with_installation_started(const ActionHistory& history,
                                    const std::vector<Chunk>& chunks) {
    const auto& messages = history.messages();
    if (messages.empty()) {
        return false;
    }
    if (says_installation_started(messages[0])) {
        return true;
    }
    const auto is_newest = [&](const Chunk& chunk) { return names_chunk(chunk, messages[0]); };
    return messages.size() > 1 && says_installation_started(messages[1]) &&
           std::any_of(chunks.begin(), chunks.end(), is_newest);
}

bool has_unknown_message_on_top(const ActionHistory& history) {
    return holds_own_report(history) && !is_own_text(history.messages().front());
}

std::string interrupted_chunk_string(const ActionHistory& history) {
    const auto& messages = history.messages();
    if (messages.size() >= 2 && says_installation_started(messages[0])) {
        return messages[1];
    }
    if (messages.size() >= 2 && says_installation_started(messages[1])) {
        return messages[0];
    }
    ZEPHRAN_THROW(UnsupportedHistoryForResumeException{}
                  << history_message_tag{messages.empty() ? std::string{} : messages.front()});
}

std::vector<Chunk> remaining_chunks(const std::vector<Chunk>& chunks, const std::string& text) {
    constexpr std::size_t whole_match_and_three_groups = 4;
    common::Regex format{"^([^:]*):([^:]*):(.*)", REG_EXTENDED};
    if (!format.match(text, 0) || format.get_results().size() < whole_match_and_three_groups) {
        ZEPHRAN_THROW(InvalidChunkStringFormatException{} << history_message_tag{text});
    }
    const auto first = std::find_if(chunks.begin(), chunks.end(),
                                    [&](const Chunk& chunk) { return names_chunk(chunk, text); });
    if (first == chunks.end()) {
        ZEPHRAN_THROW(ChunkNotFoundException{} << history_message_tag{text});
    }
    return {first, chunks.end()};
}

}  // namespace zephran::deployment_history
