#pragma once
// Objects that describe themselves by name to a property bag.

#include <kernel/Export.h>

class IClassProperty;

// Copying or assigning a handler copies nothing: the interface has no state.
struct NK_API IPropHandler {
  IPropHandler() noexcept = default;
  IPropHandler(const IPropHandler&) noexcept {}
  IPropHandler& operator=(const IPropHandler&) noexcept { return *this; }

  virtual ~IPropHandler();
  // Write the object's fields into the bag.
  virtual bool GetProperties(IClassProperty* bag) const = 0;
  // Read them back.
  virtual bool SetProperties(IClassProperty* bag) = 0;
  // Name of an alternative stream the object writes to; none by default.
  virtual const wchar_t* GetFork() const;
  virtual bool IsForkLightweight() const;
  // The run-time class name of the object when it is also a CObject, else null.
  virtual const char* GetRuntimeClassName() const;
  // The name written when storing; the run-time class name unless overridden.
  virtual const char* GetOutputRuntimeClassName() const;
  // Whether a class name met in a bag may be loaded into this object: its
  // qualified or unqualified C++ class name, or its output name. The generic
  // "SCObject" never matches a concrete handler.
  virtual bool IsValidClassName(const char* name) const;
};
