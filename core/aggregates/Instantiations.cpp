// Every aggregate form of the IFC4 schema with an element type of the core, made
// once here so that each compiles whole, virtual operations included. The select
// element forms are made by the schema module with its select classes.
#include <QdIfcCore/QdIfcAggrValueTypes.h>

namespace QD_SDAI {

template class QdIfcListAggr<int>;
template class QdIfcListAggrBounded<int, 1, 65536>;
template class QdIfcListAggrBounded<int, 2, 65536>;
template class QdIfcListAggrBounded<int, 3, 3>;
template class QdIfcListAggrBounded<int, 3, 4>;
template class QdIfcListAggrBounded<int, 3, 65536>;
template class QdIfcListAggr<double>;
template class QdIfcListAggrBounded<double, 1, 3>;
template class QdIfcListAggrBounded<double, 1, 65536>;
template class QdIfcListAggrBounded<double, 2, 2>;
template class QdIfcListAggrBounded<double, 2, 3>;
template class QdIfcListAggrBounded<double, 2, 65536>;
template class QdIfcListAggrBounded<double, 3, 3>;
template class QdIfcListAggr<QdDbObjectId>;
template class QdIfcListAggrBounded<QdDbObjectId, 1, 2>;
template class QdIfcListAggrBounded<QdDbObjectId, 1, 65536>;
template class QdIfcListAggrBounded<QdDbObjectId, 2, 2>;
template class QdIfcListAggrBounded<QdDbObjectId, 2, 65536>;
template class QdIfcListAggrBounded<QdDbObjectId, 3, 65536>;
template class QdIfcListAggr<QdAnsiString>;
template class QdIfcListAggrBounded<QdAnsiString, 1, 65536>;
template class QdIfcListAggr<QdIfcAggr*>;
template class QdIfcSetAggr<int>;
template class QdIfcSetAggrBounded<int, 1, 65536>;
template class QdIfcSetAggr<QdDbObjectId>;
template class QdIfcSetAggrBounded<QdDbObjectId, 1, 65536>;
template class QdIfcSetAggrBounded<QdDbObjectId, 2, 65536>;
template class QdIfcArrayAggr<double>;
template class QdIfcArrayAggrBounded<double, 1, 2>;
template class QdIfcListAggrCompound<QdIfcListAggr<int>>;
template class QdIfcListAggrCompound<QdIfcListAggr<double>>;
template class QdIfcListAggrCompound<QdIfcListAggr<QdDbObjectId>>;

}  // namespace QD_SDAI
