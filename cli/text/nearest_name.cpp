#include "text/nearest_name.h"

#include <algorithm>

#include "terminal/utf8.h"

namespace elfload {

namespace {

constexpr size_t longestWord = 200;  // nobody types longer ones
constexpr size_t mostDifferences = 3;

}  // namespace

NearestName::NearestName(std::string_view word)
    : word_(word), limit_(word.size() > longestWord ? 0 : std::clamp(word.size() / 3, size_t{1}, mostDifferences) + 1) {
  for (auto& row : rows_) row.resize(word_.size() + 1);
}

void NearestName::Offer(std::string_view name) {
  const size_t longer = std::max(name.size(), word_.size());
  if (name.empty() || longer - std::min(name.size(), word_.size()) >= limit_) return;
  const size_t distance = Distance(name);
  if (distance >= limit_ || distance >= longer) return;
  limit_ = distance;
  name_ = name;
}

// The table of distances of all beginnings of both words; three rows of it are kept.
size_t NearestName::Distance(std::string_view name) {
  auto& [beforeLast, last, row] = rows_;
  for (size_t i = 0; i <= word_.size(); i++) row[i] = i;
  for (size_t at = 1; at <= name.size(); at++) {
    beforeLast.swap(last);
    last.swap(row);
    row[0] = at;
    for (size_t i = 1; i <= word_.size(); i++) {
      const bool isSame = word_[i - 1] == name[at - 1];
      row[i] = std::min({last[i] + 1, row[i - 1] + 1, last[i - 1] + (isSame ? 0 : 1)});
      const bool isSwapped = i > 1 && at > 1 && word_[i - 1] == name[at - 2] && word_[i - 2] == name[at - 1];
      if (isSwapped) row[i] = std::min(row[i], beforeLast[i - 2] + 1);
    }
  }
  return row[word_.size()];
}

std::string NearestName::Question(std::string_view otherwise) const {
  return name_.empty() ? std::string(otherwise) : "; did you mean '" + Printable(name_) + "'?";
}

}  // namespace elfload
