// The class registry: one KbRTTI record per registered class.
//
// A record holds the class's wide name (part of the stored format: streams
// name classes by it), its parent record, and a factory that creates a
// default object. Records are static objects built at load; each links
// itself into a registry list so that KbRTTI::Find can look a class up by
// name, and unlinks itself at unload.
//
// The parent is held by pointer and only followed by IsKindOf, so a record
// may name a parent whose own constructor has not run yet.
//
// GetFirst/GetNext walk every record currently loaded (newest first), so
// tools that must cover every class -- the record fuzzer, for one -- pick
// up a class the day its record is added, without a list of their own.
#pragma once

#include <memory>

#include "base/KbExport.h"

class IObject;

class KOBASE_API KbRTTI {
 public:
  using Factory = std::unique_ptr<IObject> (*)();
  using CopyFactory = std::unique_ptr<IObject> (*)(const IObject&);

  // A root class.
  KbRTTI(const wchar_t* name, Factory factory, CopyFactory copyFactory = nullptr);
  // A class derived from `parent`.
  KbRTTI(const wchar_t* name, const KbRTTI& parent, Factory factory,
         CopyFactory copyFactory = nullptr);
  ~KbRTTI();

  KbRTTI(const KbRTTI&) = delete;
  KbRTTI& operator=(const KbRTTI&) = delete;

  const wchar_t* GetName() const { return m_name; }
  // Null for a root class.
  const KbRTTI* GetParent() const { return m_parent; }

  // True when `other` is this record or one of its ancestors.
  bool IsKindOf(const KbRTTI& other) const;

  bool HasFactory() const { return m_factory != nullptr; }
  // A new default object, or null when the class has no factory.
  std::unique_ptr<IObject> Create() const;

  bool HasCopyFactory() const { return m_copyFactory != nullptr; }
  // A copy of `source` (which must be of this class), or null when the
  // record has no copy factory (every record of this library).
  std::unique_ptr<IObject> CreateCopy(const IObject& source) const;

  // The record registered under `name`, or null.
  static const KbRTTI* Find(const wchar_t* name);

  // The registry list: the newest record, then the next older one; null at
  // the end. Records link themselves while libraries load, so the list is
  // complete once static initialisation is over.
  static const KbRTTI* GetFirst();
  const KbRTTI* GetNext() const { return m_next; }

 private:
  void Link();

  const wchar_t* m_name;
  const KbRTTI* m_parent;
  Factory m_factory;
  CopyFactory m_copyFactory;
  const KbRTTI* m_next = nullptr;  // registry list, newest first
};
