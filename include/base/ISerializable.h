// The object model: IObject (creatable by name) and ISerializable (readable
// from and writable to binary streams), the macro that registers a class,
// and the polymorphic record helpers KbWriteObject / KbReadObject.
#pragma once

#include <memory>

#include "base/KbExport.h"
#include "base/KbRTTI.h"
#include "base/KbStreamBinary.h"

class KOBASE_API IObject {
 public:
  virtual ~IObject();
  virtual const KbRTTI& GetRTTI() const = 0;
  // The wide name of GetRTTI()'s record.
  virtual const wchar_t* GetClassNameW() const;
};

// Virtual slots in order: destructor, GetRTTI, GetClassNameW, then the two
// Serialize operations.
class KOBASE_API ISerializable : public IObject {
 public:
  ~ISerializable() override;
  virtual void Serialize(KbStreamWriteBinary& stream) const = 0;
  virtual void Serialize(KbStreamReadBinary& stream) = 0;
};

// Gives a class its registry members: the static record RTTI, GetRTTI, Is
// (identity of the record, not ancestry), IsKindOf (ancestry) and the
// private CreateByFactory that the record registers as factory. The record
// itself is defined once, in src/math/registry for the library's classes:
//   const KbRTTI KoX::RTTI(L"KoX", &KoX::CreateByFactory);
// A class that is not created by name uses KB_DECLARE_RTTI_NO_FACTORY and
// passes nullptr as factory. Its CreateByFactory mirrors that absent
// factory and returns null, like KbRTTI::Create: such a class may be
// abstract or lack a default constructor, and it carries the member all the
// same so that every registered class has the same registry members.
#define KB_RTTI_MEMBERS_()                  \
 public:                                    \
  static const KbRTTI RTTI;                 \
  const KbRTTI& GetRTTI() const override {  \
    return RTTI;                            \
  }                                         \
  bool Is(const KbRTTI& rtti) const {       \
    return &GetRTTI() == &rtti;             \
  }                                         \
  bool IsKindOf(const KbRTTI& rtti) const { \
    return GetRTTI().IsKindOf(rtti);        \
  }                                         \
                                            \
 private:

#define KB_DECLARE_RTTI(Class)                        \
  KB_RTTI_MEMBERS_()                                  \
  static std::unique_ptr<IObject> CreateByFactory() { \
    return std::make_unique<Class>();                 \
  }                                                   \
                                                      \
 public:

#define KB_DECLARE_RTTI_NO_FACTORY()                  \
  KB_RTTI_MEMBERS_()                                  \
  static std::unique_ptr<IObject> CreateByFactory() { \
    return nullptr;                                   \
  }                                                   \
                                                      \
 public:

// Writes the class's wide name (u32 count of UTF-16 code units, then the
// units) and then the object's own record.
KOBASE_API void KbWriteObject(KbStreamWriteBinary& stream, const ISerializable& object);

// Reads what KbWriteObject wrote: finds the class by name, creates a default
// object and reads its record into it. Throws KbException for an unknown
// name, a class without factory or a class that is not serializable.
KOBASE_API std::unique_ptr<ISerializable> KbReadObject(KbStreamReadBinary& stream);
