// Parsing of the predicate format language ("name BEGINSWITH[c] %@ AND age > 18") into a
// Predicate tree, with the arguments substituted for the placeholders.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>

#include "Platform/ObjectStore/Predicate.h"

namespace dm {
namespace {

// Parentheses and NOTs nested deeper than this are refused, so hostile input cannot
// exhaust the stack of the recursive descent.
constexpr int kMaxNesting = 100;
// Longest stretch of the format quoted back in an error message.
constexpr std::size_t kQuotedFormatLimit = 200;

enum class TokenKind {
  End,
  LeftParen,
  RightParen,
  LeftBrace,
  RightBrace,
  Comma,
  And,
  Or,
  Not,
  Operator,
  TruePredicate,
  FalsePredicate,
  Literal,
  Placeholder,
  KeyPath,
};

struct Token {
  TokenKind kind = TokenKind::End;
  std::size_t position = 0;
  Predicate::Operator op = Predicate::Operator::Equal;
  Predicate::Options options;
  bool hasOptions = false;
  Value literal;
  char placeholder = 0;  // '@', 'K', or a numeric conversion letter
  std::string text;      // key path
};

bool isIdentifierStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool isIdentifierPart(char c) {
  return isIdentifierStart(c) || (c >= '0' && c <= '9');
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

char asciiUpper(char c) {
  return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (asciiUpper(a[i]) != asciiUpper(b[i])) return false;
  }
  return true;
}

bool isValidKeyPath(std::string_view path) {
  if (path.empty()) return false;
  bool atComponentStart = true;
  for (char c : path) {
    if (atComponentStart) {
      if (!isIdentifierStart(c)) return false;
      atComponentStart = false;
    } else if (c == '.') {
      atComponentStart = true;
    } else if (!isIdentifierPart(c)) {
      return false;
    }
  }
  return !atComponentStart;
}

void appendUtf8(std::string& out, std::uint32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

class Parser {
 public:
  Parser(std::string_view format, const std::vector<PredicateArgument>& args)
      : format_(format), args_(args) {}

  Predicate parseAll() {
    Predicate result = parseOr();
    if (peek().kind != TokenKind::End) fail("unexpected text after the condition", peek().position);
    if (nextArgument_ < args_.size()) {
      fail("too many arguments: the format uses " + std::to_string(nextArgument_) + ", " +
               std::to_string(args_.size()) + " given",
           format_.size());
    }
    return result;
  }

 private:
  [[noreturn]] void fail(const std::string& problem, std::size_t position,
                         ErrorCode code = ErrorCode::InvalidPredicate) const {
    std::string quoted(format_.substr(0, kQuotedFormatLimit));
    if (format_.size() > kQuotedFormatLimit) quoted += "...";
    throw PredicateError("Invalid predicate format \"" + quoted + "\": " + problem +
                             " at position " + std::to_string(position),
                         code);
  }

  // ---- Tokens ----

  const Token& peek() {
    if (!lookahead_) lookahead_ = lex();
    return *lookahead_;
  }

  Token next() {
    Token t = peek();
    lookahead_.reset();
    return t;
  }

  Token lex() {
    while (pos_ < format_.size() && (format_[pos_] == ' ' || format_[pos_] == '\t' ||
                                     format_[pos_] == '\n' || format_[pos_] == '\r')) {
      ++pos_;
    }
    Token t;
    t.position = pos_;
    if (pos_ >= format_.size()) return t;
    const char c = format_[pos_];
    const char c2 = pos_ + 1 < format_.size() ? format_[pos_ + 1] : '\0';
    auto single = [&](TokenKind kind, std::size_t length) {
      t.kind = kind;
      pos_ += length;
      return t;
    };
    auto op = [&](Predicate::Operator o, std::size_t length) {
      t.kind = TokenKind::Operator;
      t.op = o;
      pos_ += length;
      lexOptions(t);
      return t;
    };
    using Op = Predicate::Operator;
    switch (c) {
      case '(':
        return single(TokenKind::LeftParen, 1);
      case ')':
        return single(TokenKind::RightParen, 1);
      case '{':
        return single(TokenKind::LeftBrace, 1);
      case '}':
        return single(TokenKind::RightBrace, 1);
      case ',':
        return single(TokenKind::Comma, 1);
      case '&':
        if (c2 == '&') return single(TokenKind::And, 2);
        fail("'&' must be doubled", pos_);
      case '|':
        if (c2 == '|') return single(TokenKind::Or, 2);
        fail("'|' must be doubled", pos_);
      case '!':
        if (c2 == '=') return op(Op::NotEqual, 2);
        return single(TokenKind::Not, 1);
      case '=':
        if (c2 == '=') return op(Op::Equal, 2);
        if (c2 == '<') return op(Op::LessOrEqual, 2);
        if (c2 == '>') return op(Op::GreaterOrEqual, 2);
        return op(Op::Equal, 1);
      case '<':
        if (c2 == '=') return op(Op::LessOrEqual, 2);
        if (c2 == '>') return op(Op::NotEqual, 2);
        return op(Op::Less, 1);
      case '>':
        if (c2 == '=') return op(Op::GreaterOrEqual, 2);
        return op(Op::Greater, 1);
      case '%':
        return lexPlaceholder(t);
      case '"':
      case '\'':
        return lexString(t);
      default:
        break;
    }
    if (isDigit(c) || ((c == '-' || c == '.') && isDigit(c2))) return lexNumber(t);
    if (isIdentifierStart(c)) return lexWord(t);
    fail(std::string("unexpected character '") + c + "'", pos_);
  }

  void lexOptions(Token& t) {
    if (pos_ >= format_.size() || format_[pos_] != '[') return;
    const std::size_t start = pos_++;
    while (pos_ < format_.size() && format_[pos_] != ']') {
      const char o = asciiUpper(format_[pos_]);
      if (o == 'C') {
        t.options.caseInsensitive = true;
      } else if (o == 'D') {
        t.options.diacriticInsensitive = true;
      } else {
        fail("unknown comparison option (expected [c], [d] or [cd])", pos_);
      }
      ++pos_;
    }
    if (pos_ >= format_.size()) fail("unterminated comparison options", start);
    ++pos_;
    t.hasOptions = true;
  }

  Token lexPlaceholder(Token& t) {
    ++pos_;
    // Length modifiers of numeric conversions carry no meaning here.
    while (pos_ < format_.size() &&
           (format_[pos_] == 'l' || format_[pos_] == 'q' || format_[pos_] == 'h')) {
      ++pos_;
    }
    const char conversion = pos_ < format_.size() ? format_[pos_] : '\0';
    switch (conversion) {
      case '@':
      case 'K':
      case 'd':
      case 'i':
      case 'u':
      case 'f':
      case 'g':
        t.kind = TokenKind::Placeholder;
        t.placeholder = conversion;
        ++pos_;
        return t;
      default:
        fail("unknown placeholder (expected %@, %K, %d, %i, %u, %f or %g)", t.position);
    }
  }

  Token lexString(Token& t) {
    const char quote = format_[pos_++];
    std::string text;
    while (true) {
      if (pos_ >= format_.size()) fail("unterminated string", t.position);
      const char c = format_[pos_++];
      if (c == quote) break;
      if (c != '\\') {
        text += c;
        continue;
      }
      if (pos_ >= format_.size()) fail("unterminated string", t.position);
      const char e = format_[pos_++];
      switch (e) {
        case '\\':
        case '\'':
        case '"':
          text += e;
          break;
        case 'n':
          text += '\n';
          break;
        case 't':
          text += '\t';
          break;
        case 'r':
          text += '\r';
          break;
        case '0':
          text += '\0';
          break;
        case 'u': {
          std::uint32_t cp = 0;
          if (pos_ + 4 > format_.size()) fail("malformed \\u escape", pos_ - 2);
          const auto [end, ec] =
              std::from_chars(format_.data() + pos_, format_.data() + pos_ + 4, cp, 16);
          if (ec != std::errc() || end != format_.data() + pos_ + 4) {
            fail("malformed \\u escape", pos_ - 2);
          }
          pos_ += 4;
          appendUtf8(text, cp);
          break;
        }
        default:
          fail(std::string("unknown escape '\\") + e + "'", pos_ - 2);
      }
    }
    t.kind = TokenKind::Literal;
    t.literal = Value(std::move(text));
    return t;
  }

  Token lexNumber(Token& t) {
    const std::size_t start = pos_;
    bool isDecimal = false;
    if (format_[pos_] == '-') ++pos_;
    while (pos_ < format_.size() && isDigit(format_[pos_])) ++pos_;
    if (pos_ < format_.size() && format_[pos_] == '.') {
      isDecimal = true;
      ++pos_;
      while (pos_ < format_.size() && isDigit(format_[pos_])) ++pos_;
    }
    if (pos_ < format_.size() && (format_[pos_] == 'e' || format_[pos_] == 'E')) {
      std::size_t p = pos_ + 1;
      if (p < format_.size() && (format_[p] == '+' || format_[p] == '-')) ++p;
      if (p < format_.size() && isDigit(format_[p])) {
        isDecimal = true;
        pos_ = p;
        while (pos_ < format_.size() && isDigit(format_[pos_])) ++pos_;
      }
    }
    if (pos_ < format_.size() && isIdentifierPart(format_[pos_])) fail("malformed number", start);
    const char* first = format_.data() + start;
    const char* last = format_.data() + pos_;
    t.kind = TokenKind::Literal;
    if (isDecimal) {
      double d = 0;
      const auto [end, ec] = std::from_chars(first, last, d);
      // Out-of-range decimals saturate: huge ones to infinity, tiny ones to zero.
      if (ec == std::errc::result_out_of_range) {
        const std::string_view text(first, static_cast<std::size_t>(last - first));
        const auto exponent = text.find_first_of("eE");
        const bool tiny = exponent != std::string_view::npos && exponent + 1 < text.size() &&
                          text[exponent + 1] == '-';
        d = tiny ? 0.0 : HUGE_VAL;
        if (*first == '-') d = -d;
      } else if (ec != std::errc() || end != last) {
        fail("malformed number", start);
      }
      t.literal = Value(d);
    } else {
      std::int64_t i = 0;
      const auto [end, ec] = std::from_chars(first, last, i);
      if (ec == std::errc::result_out_of_range) fail("integer out of 64-bit range", start);
      if (ec != std::errc() || end != last) fail("malformed number", start);
      t.literal = Value(static_cast<long long>(i));
    }
    return t;
  }

  Token lexWord(Token& t) {
    const std::size_t start = pos_;
    while (pos_ < format_.size()) {
      if (isIdentifierPart(format_[pos_])) {
        ++pos_;
      } else if (format_[pos_] == '.') {
        if (pos_ + 1 >= format_.size() || !isIdentifierStart(format_[pos_ + 1])) {
          fail("malformed key path", pos_);
        }
        ++pos_;
      } else {
        break;
      }
    }
    const std::string_view word = format_.substr(start, pos_ - start);
    using Op = Predicate::Operator;
    struct Keyword {
      std::string_view name;
      TokenKind kind;
      Op op;
    };
    static constexpr Keyword kKeywords[] = {
        {"AND", TokenKind::And, Op::Equal},
        {"OR", TokenKind::Or, Op::Equal},
        {"NOT", TokenKind::Not, Op::Equal},
        {"IN", TokenKind::Operator, Op::In},
        {"LIKE", TokenKind::Operator, Op::Like},
        {"CONTAINS", TokenKind::Operator, Op::Contains},
        {"BEGINSWITH", TokenKind::Operator, Op::BeginsWith},
        {"ENDSWITH", TokenKind::Operator, Op::EndsWith},
        {"TRUEPREDICATE", TokenKind::TruePredicate, Op::Equal},
        {"FALSEPREDICATE", TokenKind::FalsePredicate, Op::Equal},
    };
    for (const auto& k : kKeywords) {
      if (equalsIgnoringCase(word, k.name)) {
        t.kind = k.kind;
        if (k.kind == TokenKind::Operator) {
          t.op = k.op;
          lexOptions(t);
        }
        return t;
      }
    }
    t.kind = TokenKind::Literal;
    if (equalsIgnoringCase(word, "NULL") || equalsIgnoringCase(word, "NIL")) {
      t.literal = Value();
    } else if (equalsIgnoringCase(word, "YES") || equalsIgnoringCase(word, "TRUE")) {
      t.literal = Value(true);
    } else if (equalsIgnoringCase(word, "NO") || equalsIgnoringCase(word, "FALSE")) {
      t.literal = Value(false);
    } else {
      t.kind = TokenKind::KeyPath;
      t.text = std::string(word);
    }
    return t;
  }

  // ---- Grammar ----
  // or := and (OR and)* ; and := not (AND not)* ; not := NOT not | primary
  // primary := '(' or ')' | TRUEPREDICATE | FALSEPREDICATE | expression operator expression

  Predicate parseOr() {
    std::vector<Predicate> terms{parseAnd()};
    while (peek().kind == TokenKind::Or) {
      next();
      terms.push_back(parseAnd());
    }
    return terms.size() == 1 ? terms.front() : Predicate::orPredicate(std::move(terms));
  }

  Predicate parseAnd() {
    std::vector<Predicate> terms{parseNot()};
    while (peek().kind == TokenKind::And) {
      next();
      terms.push_back(parseNot());
    }
    return terms.size() == 1 ? terms.front() : Predicate::andPredicate(std::move(terms));
  }

  void enterNesting(std::size_t position) {
    if (++nesting_ > kMaxNesting) {
      fail("conditions nested deeper than " + std::to_string(kMaxNesting) + " levels", position,
           ErrorCode::NestingTooDeep);
    }
  }

  Predicate parseNot() {
    if (peek().kind != TokenKind::Not) return parsePrimary();
    enterNesting(next().position);
    Predicate inner = parseNot();
    --nesting_;
    return Predicate::notPredicate(std::move(inner));
  }

  Predicate parsePrimary() {
    const Token& t = peek();
    switch (t.kind) {
      case TokenKind::LeftParen: {
        const std::size_t open = next().position;
        enterNesting(open);
        Predicate inner = parseOr();
        if (peek().kind != TokenKind::RightParen) {
          fail("missing ')' for the '(' at position " + std::to_string(open), peek().position);
        }
        next();
        --nesting_;
        return inner;
      }
      case TokenKind::TruePredicate:
        next();
        return Predicate::truePredicate();
      case TokenKind::FalsePredicate:
        next();
        return Predicate::falsePredicate();
      case TokenKind::End:
        fail("expected a condition", t.position);
      case TokenKind::RightParen:
        fail("unbalanced ')'", t.position);
      default:
        break;
    }
    return parseComparison();
  }

  Predicate parseComparison() {
    const std::size_t leftPosition = peek().position;
    PredicateExpression left = parseExpression();
    if (peek().kind != TokenKind::Operator) fail("expected a comparison operator", peek().position);
    const Token opToken = next();
    const std::size_t rightPosition = peek().position;
    PredicateExpression right = parseExpression();

    using Op = Predicate::Operator;
    using EK = PredicateExpression::Kind;
    if (left.kind == EK::ConstantList) {
      fail("a list is only allowed on the right side of IN", leftPosition);
    }
    if (opToken.op == Op::In) {
      if (right.kind != EK::ConstantList) fail("IN needs a list on its right side", rightPosition);
    } else if (right.kind == EK::ConstantList) {
      fail("a list is only allowed on the right side of IN", rightPosition);
    }
    const bool takesOptions = opToken.op == Op::Equal || opToken.op == Op::NotEqual ||
                              opToken.op == Op::Like || opToken.op == Op::Contains ||
                              opToken.op == Op::BeginsWith || opToken.op == Op::EndsWith;
    if (opToken.hasOptions && !takesOptions) {
      fail("comparison options apply only to text comparisons", opToken.position);
    }
    return Predicate::comparison(std::move(left), opToken.op, std::move(right), opToken.options);
  }

  PredicateExpression parseExpression() {
    const Token t = next();
    PredicateExpression e;
    switch (t.kind) {
      case TokenKind::KeyPath:
        e.kind = PredicateExpression::Kind::KeyPath;
        e.keyPath = t.text;
        return e;
      case TokenKind::Literal:
        e.kind = PredicateExpression::Kind::Constant;
        e.constant = t.literal;
        return e;
      case TokenKind::Placeholder:
        return substitute(t);
      case TokenKind::LeftBrace:
        return parseList(t.position);
      case TokenKind::End:
        fail("expected a key path or a value", t.position);
      default:
        fail("expected a key path or a value", t.position);
    }
  }

  PredicateExpression parseList(std::size_t open) {
    PredicateExpression e;
    e.kind = PredicateExpression::Kind::ConstantList;
    if (peek().kind == TokenKind::RightBrace) {
      next();
      return e;
    }
    while (true) {
      const std::size_t position = peek().position;
      PredicateExpression item = parseExpression();
      if (item.kind != PredicateExpression::Kind::Constant) {
        fail("a list may hold only values", position);
      }
      e.list.push_back(std::move(item.constant));
      const Token separator = next();
      if (separator.kind == TokenKind::RightBrace) return e;
      if (separator.kind != TokenKind::Comma) {
        fail("missing '}' for the '{' at position " + std::to_string(open), separator.position);
      }
    }
  }

  PredicateExpression substitute(const Token& t) {
    if (nextArgument_ >= args_.size()) {
      fail("missing argument for placeholder %" + std::string(1, t.placeholder), t.position);
    }
    const PredicateArgument& arg = args_[nextArgument_++];
    PredicateExpression e;
    if (t.placeholder == 'K') {
      const auto* v = std::get_if<Value>(&arg);
      if (!v || !v->isString()) fail("the argument for %K must be a text", t.position);
      if (!isValidKeyPath(v->asString())) {
        fail("the argument for %K is not a key path: \"" + v->asString() + "\"", t.position);
      }
      e.kind = PredicateExpression::Kind::KeyPath;
      e.keyPath = v->asString();
      return e;
    }
    if (const auto* v = std::get_if<Value>(&arg)) {
      e.kind = PredicateExpression::Kind::Constant;
      e.constant = *v;
      return e;
    }
    if (t.placeholder != '@') {
      fail("the argument for %" + std::string(1, t.placeholder) + " must be a single value",
           t.position);
    }
    if (const auto* list = std::get_if<std::vector<Value>>(&arg)) {
      e.kind = PredicateExpression::Kind::ConstantList;
      e.list = *list;
      return e;
    }
    const ManagedObject* object = std::get<const ManagedObject*>(arg);
    if (object) {
      e.kind = PredicateExpression::Kind::Object;
      e.object = object;
    } else {
      e.kind = PredicateExpression::Kind::Constant;  // no object: compares like NULL
    }
    return e;
  }

  std::string_view format_;
  const std::vector<PredicateArgument>& args_;
  std::size_t pos_ = 0;
  std::size_t nextArgument_ = 0;
  int nesting_ = 0;
  std::optional<Token> lookahead_;
};

}  // namespace

Predicate Predicate::parse(std::string_view format, const std::vector<PredicateArgument>& args) {
  return Parser(format, args).parseAll();
}

}  // namespace dm
