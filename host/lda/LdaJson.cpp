#include "host/lda/LdaJson.h"

#include <cmath>

using nlohmann::json;

namespace {

// The deepest nesting of arrays and objects, strings skipped, stopping early
// once past `limit`.
int nestingDepth(const std::vector<unsigned char>& text, int limit) {
  int depth = 0, deepest = 0;
  bool inString = false, escaped = false;
  for (unsigned char c : text) {
    if (inString) {
      if (escaped) escaped = false;
      else if (c == '\\') escaped = true;
      else if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      deepest = std::max(deepest, ++depth);
      if (deepest > limit) return deepest;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return deepest;
}

}  // namespace

bool parseJsonObject(const std::vector<unsigned char>& text, json& out, std::string& why) {
  if (nestingDepth(text, kMaxJsonDepth) > kMaxJsonDepth) {
    why = "is nested deeper than " + std::to_string(kMaxJsonDepth) + " levels";
    return false;
  }
  out = json::parse(text.begin(), text.end(), nullptr, false);
  if (!out.is_discarded() && out.is_object()) return true;
  why = out.is_discarded() ? "is not valid JSON" : "is not a JSON object";
  out = json();
  return false;
}

const json* jsonMember(const json& value, const char* key) {
  if (!value.is_object()) return nullptr;
  const auto found = value.find(key);
  return found == value.end() ? nullptr : &*found;
}

std::string jsonText(const json* value) {
  return value && value->is_string() ? value->get<std::string>() : std::string();
}

bool jsonIntegers(const json* value, size_t count, long long minimum, long long maximum,
                  std::vector<long long>& out) {
  out.clear();
  if (!value || !value->is_array() || (count ? value->size() != count : value->size() > 64)) return false;
  for (const json& item : *value) {
    if (!item.is_number_integer()) return false;
    const bool isUnsigned = item.is_number_unsigned();
    if (isUnsigned && item.get<unsigned long long>() > static_cast<unsigned long long>(maximum)) return false;
    const long long number = isUnsigned ? static_cast<long long>(item.get<unsigned long long>()) : item.get<long long>();
    if (number < minimum || number > maximum) return false;
    out.push_back(number);
  }
  return true;
}

bool jsonNumbers(const json* value, size_t count, std::vector<double>& out) {
  out.clear();
  if (!value || !value->is_array() || value->size() != count) return false;
  for (const json& item : *value) {
    if (!item.is_number() || !std::isfinite(item.get<double>())) return false;
    out.push_back(item.get<double>());
  }
  return true;
}

std::string jsonBrief(const json* value) {
  if (!value || value->is_null()) return "nothing";
  if (value->is_array()) return "an array";
  if (value->is_object()) return "an object";
  std::string text = value->dump(-1, ' ', false, json::error_handler_t::replace);
  if (text.size() > 40) text = text.substr(0, 37) + "...";
  return text;
}
