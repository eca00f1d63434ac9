// A reference to a class: what a class vendor stands for, and what the run log prints
// for the object that sent a line. It names the class without its namespaces, compares
// by identity, and tells whether one class derives from another without an instance of
// either. Values are small and immutable; any thread may use them.
#pragma once

#include <string>
#include <typeindex>
#include <typeinfo>

namespace lv {

// The class name of `type` as written in the code, without namespaces
// ("TLVTextFile" for lv::TLVTextFile).
std::string LVClassName(const std::type_info& type);

class TLVClassRef {
 public:
  template <class T>
  static TLVClassRef Of() {
    return TLVClassRef(typeid(T), &ThrowPointer<T>, &CatchesPointer<T>);
  }

  const std::type_info& TypeInfo() const { return *type_; }
  std::type_index Index() const { return std::type_index(*type_); }
  std::string Name() const { return LVClassName(*type_); }

  // True when this class is `base` or derives from it publicly.
  bool InheritsFrom(const TLVClassRef& base) const { return base.catches_(throw_); }

  friend bool operator==(const TLVClassRef& a, const TLVClassRef& b) {
    return *a.type_ == *b.type_;
  }

 private:
  using Thrower = void (*)();
  using Catcher = bool (*)(Thrower);

  TLVClassRef(const std::type_info& type, Thrower thrower, Catcher catcher)
      : type_(&type), throw_(thrower), catches_(catcher) {}

  // The language already knows every class's bases: a handler for `const Base*` catches
  // a thrown `const Derived*`. Throwing a null pointer of one class at a handler of the
  // other asks it without needing an instance. Only registry look-ups use this, never
  // a hot path.
  template <class T>
  [[noreturn]] static void ThrowPointer() {
    throw static_cast<const T*>(nullptr);
  }
  template <class T>
  static bool CatchesPointer(Thrower thrower) {
    try {
      thrower();
    } catch (const T*) {
      return true;
    } catch (...) {
    }
    return false;
  }

  const std::type_info* type_;
  Thrower throw_;
  Catcher catches_;
};

}  // namespace lv
