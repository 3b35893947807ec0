#include "Receiver.h"

namespace bvdiag {
namespace {

constexpr std::size_t kChannelOffset = 4;
constexpr std::size_t kCountOffset = 32;
constexpr std::size_t kTextOffset = 36;
constexpr std::uint32_t kTextUnits = 4000;

std::uint32_t U32(const unsigned char* block, std::size_t offset) {
    return static_cast<std::uint32_t>(block[offset]) |
           static_cast<std::uint32_t>(block[offset + 1]) << 8 |
           static_cast<std::uint32_t>(block[offset + 2]) << 16 |
           static_cast<std::uint32_t>(block[offset + 3]) << 24;
}

char16_t Unit(const unsigned char* block, std::uint32_t index) {
    const std::size_t at = kTextOffset + 2 * std::size_t{index};
    return static_cast<char16_t>(block[at] | block[at + 1] << 8);
}

bool IsKnownCommand(ULONG_PTR command) {
    return command == 2 || command == 3 || command == 7;
}

} // namespace

std::optional<Message> DecodeMessage(const COPYDATASTRUCT& data) {
    if (!IsKnownCommand(data.dwData) || data.cbData != kBlockSize || data.lpData == nullptr) {
        return std::nullopt;
    }
    const auto* block = static_cast<const unsigned char*>(data.lpData);
    const std::uint32_t count = U32(block, kCountOffset);
    if (U32(block, 0) != kBlockSize || count == 0 || count > kTextUnits ||
        Unit(block, count - 1) != 0) {
        return std::nullopt;
    }
    Message message;
    message.command = static_cast<Command>(data.dwData);
    message.channel = U32(block, kChannelOffset);
    message.text.resize(count - 1);
    for (std::uint32_t i = 0; i + 1 < count; ++i) {
        message.text[i] = Unit(block, i);
    }
    return message;
}

LRESULT Receiver::OnCopyData(DWORD pid, const COPYDATASTRUCT& data) {
    std::optional<Message> message = DecodeMessage(data);
    if (!message) {
        ++m_ignored;
        return kIgnored;
    }
    Record record;
    record.received = std::chrono::system_clock::now();
    record.pid = pid;
    record.command = message->command;
    record.channel = static_cast<LONG>(message->channel);
    record.text = std::move(message->text);
    if (record.command == Command::Open) {
        return Open(std::move(record));
    }
    record.logger = LoggerOf(message->channel);
    if (record.command == Command::Close) {
        m_open.erase(message->channel);
        record.text.clear(); // the field still holds the previous line
    }
    m_queue.Push(std::move(record));
    return 0;
}

LRESULT Receiver::Open(Record record) {
    if (m_nextChannel > 0x7FFFFFFF) {
        return kIgnored; // numbers are never reused: after 2^31 opens every open is refused
    }
    const std::uint32_t channel = m_nextChannel++;
    m_open[channel] = record.text;
    record.channel = static_cast<LONG>(channel);
    record.logger = record.text;
    m_queue.Push(std::move(record));
    return static_cast<LRESULT>(channel);
}

std::u16string Receiver::LoggerOf(std::uint32_t channel) const {
    const auto it = m_open.find(channel);
    return it == m_open.end() ? std::u16string{} : it->second;
}

} // namespace bvdiag
