// The non-generic part of the aggregates and the descriptors of the core's
// aggregate value types.
#include <QdIfcCore/QdIfcAggrValueTypes.h>
#include <QdIfcCore/QdIfcException.h>

namespace QD_SDAI {

void qdIfcThrowIndexInvalid() { throw QdIfcException(470, "Index invalid ", nullptr); }

IOrderedManipulator::~IOrderedManipulator() = default;
IUnorderdManiplator::~IUnorderdManiplator() = default;
QdIfcAggrIterator::~QdIfcAggrIterator() = default;
QdIfcAggrConstIterator::~QdIfcAggrConstIterator() = default;
QdIfcAggrImp::~QdIfcAggrImp() = default;

const QdIfcVariantType& QdIfcAggrImp::elementType() { return static_cast<const QdIfcAggrImp*>(this)->elementType(); }

AggrOrderType QdIfcAggrImp::aggrContainerType() const { return aggrOrder() == 0 ? kAggrOrdered : kAggrUnordered; }

QdIfcAggr::~QdIfcAggr() {
  if (m_imp != m_imp->dummyImp()) delete m_imp;
}

QdIfcAggr& QdIfcAggr::operator=(const QdIfcAggr& other) {
  if (this == &other) return *this;
  QdIfcAggrImp* copy = other.m_imp->cloneImp();
  if (m_imp != m_imp->dummyImp()) delete m_imp;
  m_imp = copy;
  return *this;
}

void QdIfcAggr::clear() {
  QdIfcAggrImp* dummy = m_imp->dummyImp();
  if (m_imp == dummy) return;
  delete m_imp;
  m_imp = dummy;
}

bool QdIfcAggr::createEmpty() {
  if (m_imp != m_imp->dummyImp()) return true;
  QdIfcAggrImp* fresh = m_imp->createEmptyImp();
  if (!fresh) return false;
  m_imp = fresh;
  return true;
}

QdIfcAggr* QdIfcAggr::clone() const { return m_imp->createHandle(m_imp->cloneImp()); }

}  // namespace QD_SDAI

using namespace QD_SDAI;
using AggrPtr = QdIfcAggr*;
using SelectPtr = QdIfcSelect*;
using IntList = QdIfcListAggr<int>;
using RealList = QdIfcListAggr<double>;
using HandleList = QdIfcListAggr<QdDbObjectId>;
using IntListPtr = QdIfcListAggr<int>*;
using RealListPtr = QdIfcListAggr<double>*;
using TextListPtr = QdIfcListAggr<QdAnsiString>*;
using HandleListPtr = QdIfcListAggr<QdDbObjectId>*;
using AggrListPtr = QdIfcListAggr<QdIfcAggr*>*;
using IntSetPtr = QdIfcSetAggr<int>*;
using HandleSetPtr = QdIfcSetAggr<QdDbObjectId>*;
using RealArrayPtr = QdIfcArrayAggr<double>*;

namespace {
template <class P, class T>
QdIfcVariantType* listPtr(const wchar_t* name) {
  return new QdIfcListAggrPtrVariantTypePOD<P, T>(name);
}
template <class P, class T>
QdIfcVariantType* setPtr(const wchar_t* name) {
  return new QdIfcSetAggrPtrVariantTypePOD<P, T>(name);
}
}  // namespace

QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, AggrPtr, new QdIfcVariantTypePOD<AggrPtr>(L"QdIfcAggr*"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, SelectPtr, new QdIfcVariantTypePOD<SelectPtr>(L"QdIfcSelect*"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, IntList, new QdIfcVariantTypeForObject<IntList>(L"QdIfcListAggr<int>"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, RealList, new QdIfcVariantTypeForObject<RealList>(L"QdIfcListAggr<double>"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, HandleList,
                               new QdIfcVariantTypeForObject<HandleList>(L"QdIfcListAggr<QdDbObjectId>"))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, IntListPtr, (listPtr<IntListPtr, int>(L"::QD_SDAI:: QdIfcListAggr<int>*")))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, RealListPtr,
                               (listPtr<RealListPtr, double>(L"::QD_SDAI:: QdIfcListAggr<double>*")))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, TextListPtr,
                               (listPtr<TextListPtr, QdAnsiString>(L"::QD_SDAI:: QdIfcListAggr<QdAnsiString>*")))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, HandleListPtr,
                               (listPtr<HandleListPtr, QdDbObjectId>(L"::QD_SDAI:: QdIfcListAggr<QdDbObjectId>*")))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, AggrListPtr,
                               (listPtr<AggrListPtr, QdIfcAggr*>(L"::QD_SDAI:: QdIfcListAggr<QdIfcAggr*>*")))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, IntSetPtr, (setPtr<IntSetPtr, int>(L"::QD_SDAI:: QdIfcSetAggr<int>*")))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, HandleSetPtr,
                               (setPtr<HandleSetPtr, QdDbObjectId>(L"::QD_SDAI:: QdIfcSetAggr<QdDbObjectId>*")))
QDIFC_DEFINE_VARIANT_TYPE_WITH(locked, RealArrayPtr,
                               (listPtr<RealArrayPtr, double>(L"::QD_SDAI:: QdIfcArrayAggr<double>*")))
