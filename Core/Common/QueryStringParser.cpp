// Splitting works on positions in the one copy of the query: no unit is decoded or trimmed.
#include "Core/Common/QueryStringParser.h"

mcQueryStringParser::mcQueryStringParser(const TStr& url) {
    const std::size_t question = url.find(u'?');
    const TStr query = question == TStr::npos ? url : url.substr(question + 1);
    std::size_t start = 0;
    while (start < query.size()) {
        const std::size_t amp = query.find(u'&', start);
        const std::size_t end = amp == TStr::npos ? query.size() : amp;
        ProcessPair(query.substr(start, end - start));
        start = amp == TStr::npos ? query.size() : amp + 1;
    }
}

mcQueryStringParser::~mcQueryStringParser() = default;

bool mcQueryStringParser::GetValue(const TStr& name, TStr* value) const {
    const auto found = m_pairs.find(name);
    if (found == m_pairs.end()) {
        return false;
    }
    if (value != nullptr) {
        *value = found->second;
    }
    return true;
}

mcQueryStringParser::mtPairs& mcQueryStringParser::Map() {
    return m_pairs;
}

TStr mcQueryStringParser::Dump() const {
    TStr text;
    for (const auto& [name, value] : m_pairs) {
        text += name + u'=' + value + u'\n';
    }
    return text;
}

void mcQueryStringParser::ProcessPair(const TStr& pair) {
    const std::size_t equals = pair.find(u'=');
    if (equals == TStr::npos) {
        return;
    }
    // insert, not assign: the first value of a repeated name stays.
    m_pairs.insert({pair.substr(0, equals), pair.substr(equals + 1)});
}
