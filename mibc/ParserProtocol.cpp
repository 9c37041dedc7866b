#include "ParserProtocol.h"

#include <cstdint>

#include "common/Number.h"

namespace korvane::mibc {
namespace {

std::vector<std::string> Fields(std::string_view line) {
  std::vector<std::string> fields(1);
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\t') {
      fields.emplace_back();
    } else if (line[i] == '\\' && i + 1 < line.size()) {
      ++i;
      fields.back() += line[i] == 't' ? '\t' : line[i] == 'n' ? '\n' : line[i];
    } else {
      fields.back() += line[i];
    }
  }
  return fields;
}

}  // namespace

std::string ProtocolLine(std::span<const std::string_view> fields) {
  std::string line;
  for (const std::string_view field : fields) {
    if (!line.empty()) {
      line += '\t';
    }
    for (const char c : field) {
      if (c == '\\' || c == '\t' || c == '\n') {
        line += '\\';
      }
      line += c == '\t' ? 't' : c == '\n' ? 'n' : c;
    }
  }
  return line += '\n';
}

void ProtocolReader::Take(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    rest_.append(bytes.substr(0, end));
    if (end == std::string_view::npos) {
      return;
    }
    TakeLine(rest_);
    rest_.clear();
    bytes.remove_prefix(end + 1);
  }
}

void ProtocolReader::TakeLine(std::string_view line) {
  std::vector<std::string> fields = Fields(line);
  const std::string& kind = fields[0];
  if (kind == "done" && fields.size() == 1) {
    done_ = true;
  } else if (kind == "module" && fields.size() == 2) {
    result_.Modules.push_back({std::move(fields[1]), {}});
  } else if (kind == "fault" && fields.size() == 4 && NumberIn<std::int32_t>(fields[2])) {
    result_.Faults.push_back(
        {std::move(fields[1]), *NumberIn<std::int32_t>(fields[2]), std::move(fields[3])});
  } else if (kind == "trap" && fields.size() == 6 && NumberIn<std::int32_t>(fields[2]) &&
             !result_.Modules.empty()) {
    result_.Modules.back().Definitions.push_back({.EnterpriseOid = std::move(fields[1]),
                                                  .RequestType = *NumberIn<std::int32_t>(fields[2]),
                                                  .SpecificTrap = std::move(fields[3]),
                                                  .Name = std::move(fields[4]),
                                                  .TrapDescription = std::move(fields[5])});
  } else {
    broken_ = true;
  }
}

}  // namespace korvane::mibc
