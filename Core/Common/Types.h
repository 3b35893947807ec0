// The library's shared value types.
#pragma once

#include <string>
#include <vector>

/// The system's text: 16-bit code units.
using TStr = std::u16string;

/// Narrow text, in a code page the caller names.
using AStr = std::string;

/// A growable sequence of 8-bit unsigned values.
using ByteVec = std::vector<unsigned char>;

/// A growable sequence of texts.
using TStrVec = std::vector<TStr>;
