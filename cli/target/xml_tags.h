// The tags of a small XML document in order: as much of the format as the descriptions of GDB stubs use. Comments,
// processing instructions and document types are passed over; entities are not resolved.
//
//   for (XmlTags tags(text); tags.Next();) {
//     if (tags.Name() == "reg") names.push_back(tags.Attribute("name"));
//   }
#pragma once

#include <string_view>

namespace elfload {

class XmlTags {
 public:
  explicit XmlTags(std::string_view document) : rest_(document) {}

  // Moves to the next tag; false at the end and from the first malformed one on.
  bool Next();
  bool Malformed() const { return malformed_; }

  std::string_view Name() const { return name_; }
  bool Closing() const { return closing_; }          // </name>
  bool SelfClosing() const { return selfClosing_; }  // <name/>

  // Empty for an attribute that the tag does not have.
  std::string_view Attribute(std::string_view name) const;

  // The text between this tag and the next.
  std::string_view Text() const;

 private:
  bool Fail();
  bool SkipPast(std::string_view end);
  bool SkipDeclaration();
  bool ReadTag();

  std::string_view rest_;
  std::string_view name_;
  std::string_view attributes_;
  bool closing_ = false;
  bool selfClosing_ = false;
  bool malformed_ = false;
};

}  // namespace elfload
