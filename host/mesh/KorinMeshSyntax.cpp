#include "host/mesh/KorinMeshSyntax.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "host/mesh/KorinMesh.h"
#include "host/base/TbPrimType.h"

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

bool unescape(char c, std::string& out) {
  switch (c) {
    case '"': out += '"'; return true;
    case '\\': out += '\\'; return true;
    case 'n': out += '\n'; return true;
    case 'r': out += '\r'; return true;
    case 't': out += '\t'; return true;
    default: return false;
  }
}

// Reads the quoted token starting at line[at] == '"'; at ends past the quote.
bool readQuoted(const std::string& line, size_t& at, std::string& token) {
  for (++at; at < line.size(); ++at) {
    char c = line[at];
    if (c == '"') {
      ++at;
      return at == line.size() || isBlank(line[at]);
    }
    if (c == '\\' && (++at == line.size() || !unescape(line[at], token))) return false;
    if (c != '\\') token += c;
  }
  return false;
}

bool readBare(const std::string& line, size_t& at, std::string& token) {
  while (at < line.size() && !isBlank(line[at])) {
    if (line[at] == '"') return false;
    token += line[at++];
  }
  return true;
}

// "-1.495e+02" as a person writes it ("-149.5") for decimal exponents from -7
// to 20; beyond that range the exponent stays ("1e+21", "2.5e-8").
std::string plainSpelling(const std::string& scientific) {
  const size_t e = scientific.find('e');
  const int exponent = std::atoi(scientific.c_str() + e + 1);
  const bool negative = scientific[0] == '-';
  const std::string sign = negative ? "-" : "";
  const std::string mantissa = scientific.substr(negative ? 1 : 0, e - (negative ? 1 : 0));
  if (exponent < -7 || exponent > 20)
    return sign + mantissa + (exponent < 0 ? "e-" : "e+") + std::to_string(std::abs(exponent));
  std::string digits = mantissa;
  digits.erase(std::remove(digits.begin(), digits.end(), '.'), digits.end());
  const int point = exponent + 1;  // digits before the decimal point
  if (point <= 0) return sign + "0." + std::string(static_cast<size_t>(-point), '0') + digits;
  if (point >= static_cast<int>(digits.size()))
    return sign + digits + std::string(static_cast<size_t>(point) - digits.size(), '0');
  return sign + digits.substr(0, static_cast<size_t>(point)) + "." + digits.substr(static_cast<size_t>(point));
}

bool needsQuotes(const std::string& name) {
  if (name.empty() || name[0] == '#') return true;
  for (unsigned char c : name)
    if (c <= ' ' || c == '"' || c == '\\' || c == 0x7f) return true;
  return false;
}

}  // namespace

bool KorinMeshSyntax::splitLine(const std::string& line, std::vector<std::string>& tokens) {
  tokens.clear();
  size_t at = 0;
  while (true) {
    while (at < line.size() && isBlank(line[at])) ++at;
    if (at == line.size()) return true;
    tokens.emplace_back();
    bool ok = line[at] == '"' ? readQuoted(line, at, tokens.back())
                              : readBare(line, at, tokens.back());
    if (!ok) return false;
  }
}

std::string KorinMeshSyntax::quoted(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default: out += c;
    }
  }
  return out + "\"";
}

std::string KorinMeshSyntax::nameToken(const std::string& name) {
  return needsQuotes(name) ? quoted(name) : name;
}

std::string KorinMeshSyntax::realText(double value, bool fromFloat) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  char text[64];
  char* end = fromFloat ? std::to_chars(text, text + sizeof text - 1, static_cast<float>(value),
                                        std::chars_format::scientific).ptr
                        : std::to_chars(text, text + sizeof text - 1, value, std::chars_format::scientific).ptr;
  *end = '\0';
  // Reals are read back as doubles: a float's digits must survive that too.
  if (fromFloat && static_cast<float>(std::strtod(text, nullptr)) != static_cast<float>(value)) {
    end = std::to_chars(text, text + sizeof text - 1, value, std::chars_format::scientific).ptr;
    *end = '\0';
  }
  return plainSpelling(text);
}

bool KorinMeshSyntax::parseInt64(const std::string& token, int64_t& value) {
  if (token.empty()) return false;
  errno = 0;
  char* end = nullptr;
  long long parsed = std::strtoll(token.c_str(), &end, 10);
  if (errno != 0 || *end != '\0') return false;
  value = parsed;
  return true;
}

bool KorinMeshSyntax::parseInt(const std::string& token, int& value) {
  int64_t wide = 0;
  if (!parseInt64(token, wide) || wide < INT_MIN || wide > INT_MAX) return false;
  value = static_cast<int>(wide);
  return true;
}

bool KorinMeshSyntax::parseReal(const std::string& token, double& value) {
  if (token.empty()) return false;
  char* end = nullptr;
  double parsed = std::strtod(token.c_str(), &end);
  if (*end != '\0') return false;
  value = parsed;
  return true;
}

const char* KorinMeshSyntax::encodingWords(int encoding) {
  switch (encoding) {
    case KorinMesh::TEXT: return "text";
    case KorinMesh::BINARY_LITTLE_ENDIAN: return "binary little-endian";
    case KorinMesh::BINARY_BIG_ENDIAN: return "binary big-endian";
    default: return nullptr;
  }
}

int KorinMeshSyntax::encodingNamed(const std::vector<std::string>& words) {
  std::string joined;
  for (const auto& word : words) joined += (joined.empty() ? "" : " ") + word;
  for (int encoding = KorinMesh::TEXT; encoding <= KorinMesh::BINARY_BIG_ENDIAN; ++encoding)
    if (joined == encodingWords(encoding)) return encoding;
  return -1;
}

int KorinMeshSyntax::primTypeNamed(const std::string& name) {
  for (int code = 0; code < TbPrimType::NUM_CODES; ++code) {
    const char* known = TbPrimType::primTypeName[code];
    if (known && name == known) return code;
  }
  return -1;
}
