// The method trace's file: its name and its XML text.
#pragma once
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/trace.h"

namespace veqdx {

// What one save writes.
struct TraceFileContent {
  std::string driver, revision, resource, transform;
  std::chrono::system_clock::time_point started;
  std::uint64_t dropped = 0;
  std::vector<TraceRecord> records;
};

// Time as the file writes it: "2026-11-23T10:15:02.130001+01:00", local time.
std::string TraceTimeText(std::chrono::system_clock::time_point t);

// "<folder>/<TraceName>_<%Y-%m-%d_%H-%M-%S>.xml": characters of the name other than letters,
// digits, '-', '_' and '.' become '_', so the file stays in `folder`. When the name is taken,
// "_2", "_3", ... goes before ".xml". The file is created empty to hold the name.
std::string ReserveTraceFile(const std::string& folder, std::string_view traceName,
                             std::chrono::system_clock::time_point started);

// Writes the whole file (through a temporary file, so a reader never sees half of it). False,
// with `error` saying why, when it cannot.
bool WriteTraceFile(const std::string& path, const TraceFileContent& content,
                    std::string& error);

// `text` with what XML cannot carry (control characters, NUL, bytes that are not UTF-8)
// written as "\xNN".
std::string XmlSafeText(std::string_view text);

}  // namespace veqdx
