// The tags of a small XML document in order.
#include "target/xml_tags.h"

namespace elfload {

namespace {

constexpr std::string_view WHITE = " \t\r\n";

std::string_view TrimFront(std::string_view text) {
  const size_t start = text.find_first_not_of(WHITE);
  return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

}  // namespace

bool XmlTags::Fail() {
  malformed_ = true;
  rest_ = {};
  return false;
}

bool XmlTags::SkipPast(std::string_view end) {
  const size_t found = rest_.find(end);
  if (found == std::string_view::npos) {
    return Fail();
  }
  rest_.remove_prefix(found + end.size());
  return true;
}

// "<!DOCTYPE name [ declarations ]>"
bool XmlTags::SkipDeclaration() {
  const size_t end = rest_.find_first_of("[>");
  if (end == std::string_view::npos) {
    return Fail();
  }
  return rest_[end] == '[' ? SkipPast("]") && SkipPast(">") : SkipPast(">");
}

bool XmlTags::Next() {
  while (!malformed_) {
    const size_t start = rest_.find('<');
    if (start == std::string_view::npos) {
      return false;
    }
    rest_.remove_prefix(start);
    if (rest_.starts_with("<!--")) {
      SkipPast("-->");
    } else if (rest_.starts_with("<?")) {
      SkipPast("?>");
    } else if (rest_.starts_with("<!")) {
      SkipDeclaration();
    } else {
      return ReadTag();
    }
  }
  return false;
}

// The tag ends at the first '>' outside quotes.
bool XmlTags::ReadTag() {
  char quote = 0;
  size_t end = 1;
  for (; end < rest_.size(); end++) {
    const char c = rest_[end];
    if (quote != 0) {
      quote = c == quote ? '\0' : quote;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '>') {
      break;
    }
  }
  if (end == rest_.size()) {
    return Fail();
  }
  std::string_view tag = rest_.substr(1, end - 1);
  rest_.remove_prefix(end + 1);
  closing_ = tag.starts_with('/');
  selfClosing_ = tag.ends_with('/') && !closing_;
  tag.remove_prefix(closing_ ? 1 : 0);
  tag.remove_suffix(selfClosing_ ? 1 : 0);
  name_ = tag.substr(0, tag.find_first_of(WHITE));
  attributes_ = tag.substr(name_.size());
  return !name_.empty() || Fail();
}

std::string_view XmlTags::Attribute(std::string_view name) const {
  std::string_view rest = TrimFront(attributes_);
  while (!rest.empty()) {
    const size_t equals = rest.find('=');
    if (equals == std::string_view::npos) {
      break;
    }
    std::string_view key = rest.substr(0, equals);
    key = key.substr(0, key.find_first_of(WHITE));
    rest = TrimFront(rest.substr(equals + 1));
    if (rest.empty() || (rest[0] != '"' && rest[0] != '\'')) {
      break;
    }
    const size_t end = rest.find(rest[0], 1);  // there is one: ReadTag has seen the quotes in pairs
    const std::string_view value = rest.substr(1, end == std::string_view::npos ? end : end - 1);
    if (key == name) {
      return value;
    }
    rest = end == std::string_view::npos ? std::string_view() : TrimFront(rest.substr(end + 1));
  }
  return {};
}

std::string_view XmlTags::Text() const {
  std::string_view text = TrimFront(rest_.substr(0, rest_.find('<')));
  const size_t last = text.find_last_not_of(WHITE);
  return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

}  // namespace elfload
