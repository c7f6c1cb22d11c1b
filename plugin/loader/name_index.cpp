#include "loader/name_index.h"

#include <cstring>

#include "records/desc_module.h"

namespace {

uint32_t KeyOf(uint32_t hash, const DescModule* module) {
  return hash ^ static_cast<uint32_t>(reinterpret_cast<uintptr_t>(module) / alignof(DescModule));
}

bool IsOnList(const DescGlobalName* names, const char* text) {
  for (; names != nullptr; names = names->next) {
    if (std::strcmp(names->name, text) == 0) {
      return true;
    }
  }
  return false;
}

bool IsHashed(const HashIndex& index, uint32_t key, const char* text) {
  const auto isSame = [text](const DescGlobalName* name) { return std::strcmp(name->name, text) == 0; };
  return index.Find<DescGlobalName>(key, isSame) != nullptr;
}

}  // namespace

// Another module may have the name under the same key, so what is found is looked for on the module's list as well.
bool NameIndex::Name::IsIn(const DescModule* module) const {
  return (index_ == nullptr || IsHashed(*index_, KeyOf(hash_, module), text_)) &&
         IsOnList(module->ext->globalNames, text_);
}

void NameIndex::Reset(DescModule* modules) {
  modules_ = modules;
  build_ = modules != nullptr ? BuildOf(modules) : nullptr;
  lookups_ = 0;
  isMade_ = false;
  names_.Clear();
}

NameIndex::Name NameIndex::LookUp(const char* text, const DescModule* first) {
  Name name;
  name.text_ = text;
  if (BuildOf(first) != build_) {  // of an earlier build, whose table is still in use; modules_ may be gone
    return name;
  }
  if (++lookups_ == FIRST_INDEXED) {
    isMade_ = Make();
  }
  if (isMade_) {
    name.hash_ = HashText(text);
    name.index_ = &names_;
  }
  return name;
}

// False without memory. A name that a module has several times is entered once.
bool NameIndex::Make() {
  for (const DescModule* module = modules_; module != nullptr; module = module->next) {
    for (DescGlobalName* name = module->ext->globalNames; name != nullptr; name = name->next) {
      const uint32_t key = KeyOf(HashText(name->name), module);
      if (!IsHashed(names_, key, name->name) && !names_.Insert(key, name)) {
        names_.Clear();
        return false;
      }
    }
  }
  return true;
}
