#include "common/json_reader.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "common/utf8.h"

namespace zelvo {
namespace {

class Reader {
 public:
  Reader(std::string_view text, int maxNesting) : text_(text), maxNesting_(static_cast<std::size_t>(maxNesting)) {}

  // Reads the whole text into `result`; false for text that is not JSON.
  bool read(Value& result);
  bool tooDeep() const { return tooDeep_; }

 private:
  // An array or object being read, within the nesting limit. `name` is the name of the object
  // member whose value comes next.
  struct Open {
    bool object;
    Value::Array array;
    Value::Dictionary members;
    std::string name;
  };

  char peek() const { return pos_ < text_.size() ? text_[pos_] : '\0'; }
  bool consume(char c) {
    if (pos_ == text_.size() || text_[pos_] != c) return false;
    ++pos_;
    return true;
  }
  void skipSpace() {
    while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t' || text_[pos_] == '\n' || text_[pos_] == '\r')) ++pos_;
  }
  bool skipped() const { return !skipped_.empty(); }

  bool scalar(Value& out);
  bool literal(std::string_view word) {
    if (text_.substr(pos_, word.size()) != word) return false;
    pos_ += word.size();
    return true;
  }
  bool string(std::string* out);
  bool escape(std::string* out);
  bool hex4(uint32_t& out);
  bool number(Value& out);
  bool memberName();
  void store(Value&& value);
  Value close();

  std::string_view text_;
  std::size_t maxNesting_;
  std::size_t pos_ = 0;
  std::vector<Open> open_;
  // Arrays and objects past the nesting limit, inside the innermost open one: read for their
  // syntax, kept nowhere (true for an object).
  std::vector<bool> skipped_;
  bool tooDeep_ = false;
};

bool Reader::read(Value& result) {
  // A byte-order mark only as the very first bytes.
  if (peek() == '\xEF' && !literal("\xEF\xBB\xBF")) return false;
  for (;;) {
    skipSpace();
    Value value;
    const char c = peek();
    if (c == '[' || c == '{') {
      ++pos_;
      const bool object = c == '{';
      if (!skipped() && open_.size() < maxNesting_) {
        open_.push_back(Open{object, {}, {}, {}});
      } else {
        tooDeep_ = true;
        skipped_.push_back(object);
      }
      skipSpace();
      if (!consume(object ? '}' : ']')) {
        if (object && !memberName()) return false;
        continue;  // to its first value
      }
      value = close();
    } else if (!scalar(value)) {
      return false;
    }
    // A value ended: it goes into the array or object around it, which may end too.
    for (;;) {
      if (open_.empty() && !skipped()) {
        result = std::move(value);
        skipSpace();
        // A NUL byte ends the text as it ends a C string: what follows is not read.
        return pos_ == text_.size() || text_[pos_] == '\0';
      }
      store(std::move(value));
      skipSpace();
      const bool object = skipped() ? skipped_.back() : open_.back().object;
      if (consume(',')) {
        if (object) {
          skipSpace();
          if (!memberName()) return false;
        }
        break;
      }
      if (!consume(object ? '}' : ']')) return false;
      value = close();
    }
  }
}

bool Reader::memberName() {
  std::string* name = skipped() ? nullptr : &open_.back().name;
  if (name) name->clear();  // the previous member's, moved from
  if (peek() != '"' || !string(name)) return false;
  skipSpace();
  return consume(':');
}

void Reader::store(Value&& value) {
  if (skipped()) return;
  Open& open = open_.back();
  if (open.object) {
    open.members.insert_or_assign(std::move(open.name), std::move(value));
  } else {
    open.array.push_back(std::move(value));
  }
}

Value Reader::close() {
  if (skipped()) {
    skipped_.pop_back();
    return Value();
  }
  Open& open = open_.back();
  Value value = open.object ? Value(std::move(open.members)) : Value(std::move(open.array));
  open_.pop_back();
  return value;
}

bool Reader::scalar(Value& out) {
  switch (peek()) {
    case '"': {
      std::string text;
      if (!string(skipped() ? nullptr : &text)) return false;
      out = Value(std::move(text));
      return true;
    }
    case 't': out = Value(true); return literal("true");
    case 'f': out = Value(false); return literal("false");
    case 'n': return literal("null");
    default: return number(out);
  }
}

// `out` is null for a string that is read but not kept.
bool Reader::string(std::string* out) {
  ++pos_;  // the opening quote
  for (;;) {
    // A run of characters that stand for themselves.
    const std::size_t start = pos_;
    while (pos_ < text_.size()) {
      const auto byte = static_cast<unsigned char>(text_[pos_]);
      if (byte == '"' || byte == '\\' || byte < 0x20) break;
      if (byte < 0x80) {
        ++pos_;
        continue;
      }
      const Utf8Character character = firstUtf8Character(text_.substr(pos_));
      if (!character.wellFormed) return false;
      pos_ += character.length;
    }
    if (out) out->append(text_.substr(start, pos_ - start));
    if (consume('"')) return true;
    if (!consume('\\') || !escape(out)) return false;  // the end, or a control character
  }
}

bool Reader::escape(std::string* out) {
  if (pos_ == text_.size()) return false;
  char c = text_[pos_++];
  switch (c) {
    case '"': case '\\': case '/': break;
    case 'b': c = '\b'; break;
    case 'f': c = '\f'; break;
    case 'n': c = '\n'; break;
    case 'r': c = '\r'; break;
    case 't': c = '\t'; break;
    case 'u': {
      uint32_t code;
      if (!hex4(code)) return false;
      if (code >= 0xDC00 && code <= 0xDFFF) return false;  // a second half alone
      if (code >= 0xD800 && code <= 0xDBFF) {
        uint32_t low;
        if (!literal("\\u") || !hex4(low) || low < 0xDC00 || low > 0xDFFF) return false;
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
      }
      if (!out) return true;
      if (code < 0x80) {
        *out += static_cast<char>(code);
      } else if (code < 0x800) {
        *out += static_cast<char>(0xC0 | (code >> 6));
        *out += static_cast<char>(0x80 | (code & 0x3F));
      } else if (code < 0x10000) {
        *out += static_cast<char>(0xE0 | (code >> 12));
        *out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        *out += static_cast<char>(0x80 | (code & 0x3F));
      } else {
        *out += static_cast<char>(0xF0 | (code >> 18));
        *out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        *out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        *out += static_cast<char>(0x80 | (code & 0x3F));
      }
      return true;
    }
    default: return false;
  }
  if (out) *out += c;
  return true;
}

bool Reader::hex4(uint32_t& out) {
  if (text_.size() - pos_ < 4) return false;
  const char* first = text_.data() + pos_;
  // from_chars would take a sign; four hexadecimal digits are checked first.
  for (int k = 0; k < 4; ++k) {
    const char c = first[k];
    if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'))) return false;
  }
  std::from_chars(first, first + 4, out, 16);
  pos_ += 4;
  return true;
}

bool Reader::number(Value& out) {
  const auto digits = [&] {
    const std::size_t start = pos_;
    while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9') ++pos_;
    return pos_ - start;
  };
  const std::size_t start = pos_;
  const bool negative = consume('-');
  const std::size_t integerStart = pos_;
  if (!consume('0') && digits() == 0) return false;
  const std::size_t integerDigits = pos_ - integerStart;
  std::size_t fractionStart = pos_;
  bool integral = true;
  if (consume('.')) {
    fractionStart = pos_;
    if (digits() == 0) return false;
    integral = false;
  }
  const std::size_t fractionEnd = pos_;
  int64_t exponent = 0;
  if (consume('e') || consume('E')) {
    const bool negativeExponent = consume('-');
    if (!negativeExponent) consume('+');
    const std::size_t exponentStart = pos_;
    if (digits() == 0) return false;
    // Saturated: only its sign matters beyond a few thousand.
    for (std::size_t k = exponentStart; k < pos_ && exponent < 100000; ++k) exponent = exponent * 10 + (text_[k] - '0');
    if (negativeExponent) exponent = -exponent;
    integral = false;
  }
  const char* first = text_.data() + start;
  const char* last = text_.data() + pos_;
  if (integral) {
    // What fits 64 bits stays an integer; a larger one becomes a double below.
    if (negative) {
      int64_t n;
      if (std::from_chars(first, last, n).ec == std::errc()) {
        out = Value(n);
        return true;
      }
    } else {
      uint64_t n;
      if (std::from_chars(first, last, n).ec == std::errc()) {
        out = n <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) ? Value(static_cast<int64_t>(n))
                                                                               : Value(static_cast<double>(n));
        return true;
      }
    }
  }
  double d;
  if (std::from_chars(first, last, d).ec == std::errc()) {
    out = Value(d);
    return true;
  }
  // Out of range: too large is refused, too small is zero. The leading significant digit's
  // place tells which (the number is not zero, or it would have been in range).
  int64_t place = static_cast<int64_t>(integerDigits) - 1;
  if (text_[integerStart] == '0') {
    place = -1;
    for (std::size_t k = fractionStart; k < fractionEnd && text_[k] == '0'; ++k) --place;
  }
  if (place + exponent >= 0) return false;
  out = Value(negative ? -0.0 : 0.0);
  return true;
}

}  // namespace

std::optional<Value> readJson(std::string_view text, int maxNesting, Value::ReadFailure* failure) {
  Reader reader(text, maxNesting);
  Value result;
  const bool read = reader.read(result);
  if (read && !reader.tooDeep()) return result;
  if (failure) *failure = read ? Value::ReadFailure::kTooDeep : Value::ReadFailure::kMalformed;
  return std::nullopt;
}

}  // namespace zelvo
