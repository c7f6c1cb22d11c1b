// The name that a mistyped word was meant to be.
//
//   NearestName nearest("wher");
//   for (const CommandRow& row : commandRows) nearest.Offer(row.name);
//   nearest.Question();   // "; did you mean 'where'?"
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace elfload {

class NearestName {
 public:
  explicit NearestName(std::string_view word);

  // Takes `name` when it is nearer than all names before. The distance of two words is the number of characters that
  // are missing, too many, other ones or swapped with their neighbour.
  void Offer(std::string_view name);

  // Empty when no name is near: a third of the word's characters may differ, at most three.
  const std::string& Name() const { return name_; }

  // The end of a message about the word: the question, or `otherwise` when no name is near.
  std::string Question(std::string_view otherwise = "") const;

 private:
  size_t Distance(std::string_view name);

  std::string word_;
  size_t limit_;  // a name must be nearer than this
  std::string name_;
  std::vector<size_t> rows_[3];
};

}  // namespace elfload
