#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace zelvo {

// Compact JSON text written piece by piece: the caller writes the brackets, commas, colons and
// literals, the writer the strings and numbers. Strings keep their UTF-8 unescaped but for the
// quote, the backslash and the control characters; doubles in a short form that reads back to
// the same bits (nlohmann's Grisu2 digits).
class JsonWriter {
 public:
  // What becomes of a string that is not well-formed UTF-8: refused (string() returns false and
  // the text is to be dropped), or written with U+FFFD for each broken character.
  enum class BrokenUtf8 { kRefuse, kReplace };
  explicit JsonWriter(BrokenUtf8 broken) : broken_(broken) {}

  void raw(std::string_view text) { text_ += text; }
  [[nodiscard]] bool string(std::string_view text);
  void integer(int64_t number);
  // A finite double.
  void number(double number);

  std::string take() { return std::move(text_); }

 private:
  BrokenUtf8 broken_;
  std::string text_;
};

}  // namespace zelvo
