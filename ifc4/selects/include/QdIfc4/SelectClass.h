// The part every generated select class shares, as one macro of its name.
#pragma once

#include <QdIfc4/Export.h>
#include <QdIfcCore/QdIfcSelect.h>
#include <QdIfcCore/QdIfcVariant.h>

#include <cstdint>

// Inside `class S : public QD_SDAI::QdIfcSelect`, after its `enum eS` of members
// (eUnset and ePending last) and given its member count N: the member table and the
// discriminator, the copy operations, the name look-ups and the load-time handle
// hooks. The class goes on in its public section.
// Class and member names, which parentheses would not let stand as such.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define QDIFC4_SELECT(S, N)                                             \
  static constexpr int kMemberCount = N;                                \
  static QD_SDAI::QdIfcNameType* sType;                                 \
                                                                        \
  S() noexcept = default;                                               \
  S(const S& other) = default;                                          \
  S& operator=(const S& other) = default;                               \
  ~S() override;                                                        \
                                                                        \
  long _d() const override { return m_d; }                              \
  /* Stores the discriminator as it is, without any test. */            \
  void _d(e##S value) { m_d = value; }                                  \
  bool underlyingTypeName(const QD_SDAI::QdAnsiString& name) override;  \
  const QD_SDAI::QdAnsiString& underlyingTypeName() const override;     \
  const QD_SDAI::QdIfcNameType* type() const override { return sType; } \
  /* The member of that name, in any case; eUnset if there is none. */  \
  virtual e##S underlyingTypeByName(const QD_SDAI::QdAnsiString& name); \
                                                                        \
 protected:                                                             \
  void setHandleOnLoad(const QD_SDAI::QdDbObjectId& id) override;       \
  void refreshSelectHandle() override;                                  \
  void unset() override { m_d = eUnset; }                               \
                                                                        \
 private:                                                               \
  static const QD_SDAI::QdIfcSelectMember kMembers[kMemberCount];       \
  e##S m_d = eUnset;                                                    \
                                                                        \
 public:
// NOLINTEND(bugprone-macro-parentheses)
