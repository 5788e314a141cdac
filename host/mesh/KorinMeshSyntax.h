#pragma once
// KorinMeshSyntax: the words and tokens of KorinMesh header lines, shared by
// the reader and the writer so both agree on quoting and number spelling.
//
// splitLine returns false for an unterminated quote, an unknown escape or a
// quote glued to other characters; the parse calls return false unless the
// whole token is a number of the asked kind in range, and leave the output
// untouched then. primTypeNamed and encodingNamed return -1 for unknown words.
#include <cstdint>
#include <string>
#include <vector>

class KorinMeshSyntax {
 public:
  static constexpr const char* FORMAT_WORD = "korinmesh";
  static constexpr int VERSION = 1;

  // Tokens separated by blanks; "quoted" tokens may hold blanks and the
  // escapes \" \\ \n \r \t.
  static bool splitLine(const std::string& line, std::vector<std::string>& tokens);
  // A name as a token: bare when it can be, quoted otherwise.
  static std::string nameToken(const std::string& name);
  static std::string quoted(const std::string& text);

  // The shortest decimal spelling that reads back to the same double, or to
  // the same float when the value came from one (0.1f gives "0.1"). Plain
  // digits for decimal exponents from -7 to 20 ("300", "0.0000001"), an
  // exponent beyond ("1e+21"); "nan", "inf" and "-inf" for the rest.
  static std::string realText(double value, bool fromFloat = false);
  static bool parseInt(const std::string& token, int& value);
  static bool parseInt64(const std::string& token, int64_t& value);
  static bool parseReal(const std::string& token, double& value);

  // The words after the version on the first line, e.g. "binary big-endian".
  static const char* encodingWords(int encoding);
  static int encodingNamed(const std::vector<std::string>& words);
  static int primTypeNamed(const std::string& name);
};
