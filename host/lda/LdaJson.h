#pragma once
// LdaJson: the JSON of Zarr and OME-Zarr metadata, read as text that may come
// from anyone. Nothing here throws, recurses without bound or allocates by a
// number found in the text.
//
// parseJsonObject refuses, with `why` set, text that is not one JSON object or
// that nests arrays and objects deeper than kMaxJsonDepth (checked before
// parsing). The accessors answer "absent" (null, empty, false) for a value of
// the wrong kind instead of failing: callers word the refusal.
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

const int kMaxJsonDepth = 64;

bool parseJsonObject(const std::vector<unsigned char>& text, nlohmann::json& out, std::string& why);

// The member `key` of an object; null when `value` is not an object or has none.
const nlohmann::json* jsonMember(const nlohmann::json& value, const char* key);
// The text of a string value; empty for anything else (or null).
std::string jsonText(const nlohmann::json* value);
// `count` integers from minimum to maximum (count 0: any length up to 64).
bool jsonIntegers(const nlohmann::json* value, size_t count, long long minimum, long long maximum,
                  std::vector<long long>& out);
// `count` finite numbers.
bool jsonNumbers(const nlohmann::json* value, size_t count, std::vector<double>& out);
// A short rendering of a value for a message: scalars as written (cut at 40
// characters), "an array", "an object", "nothing" for null or absent.
std::string jsonBrief(const nlohmann::json* value);
