// Sections of the bvcore tour that live in files of their own.
#pragma once

namespace bvtool {

/// Registry keys and values: a scratch key below HKCU\Software, a value of each type written and
/// read back, a type mismatch caught with its text, the direct settings route; the key is
/// removed again.
void TourRegistry();

/// Dates and times: a date converted to an OLE date and back, the calendar reform, a span
/// between two dates and the clock.
void TourDateTime();

/// Settings: a value stored for all users, read through the current user's path, with the
/// physical path it resolved to; the all-users key is removed again.
void TourSettings();

/// Setting values: bool, double, POINT and RECT as they lie in the registry and read back typed,
/// a damaged value with and without a default, and a write through the current user's path that
/// copies the all-users value down first. Everything is removed again.
void TourSettingValues();

/// Scope tracing: a traced scope under a stopwatch with a nested one, and where the lines went.
void TourTrace();

/// Registry files: a small key exported in the registry editor's format and shown as text; the
/// key is removed again.
void TourRegFile();

} // namespace bvtool
