// The lock that guards the first creation of shared value descriptors.
#pragma once

#include <QdIfcCore/Export.h>

#include <mutex>

namespace QD_SDAI {

class QdLocker {
 public:
  QdLocker() = default;
  QdLocker(const QdLocker&) = delete;
  QdLocker& operator=(const QdLocker&) = delete;
  void lock() const { m_mutex.lock(); }
  void unlock() const noexcept { m_mutex.unlock(); }

 private:
  mutable std::recursive_mutex m_mutex;
};

// Holds the given lock for its own lifetime; a null locker is no lock.
class QdIfcAutoLocker {
 public:
  explicit QdIfcAutoLocker(const QdLocker* locker) : m_locker(locker) {
    if (m_locker) m_locker->lock();
  }
  ~QdIfcAutoLocker() {
    if (m_locker) m_locker->unlock();
  }
  QdIfcAutoLocker(const QdIfcAutoLocker&) = delete;
  QdIfcAutoLocker& operator=(const QdIfcAutoLocker&) = delete;

 private:
  const QdLocker* m_locker;
};

}  // namespace QD_SDAI

// The one locker of the variant-type layer.
QDIFCCORE_API const QD_SDAI::QdLocker* qdifcGetVaraintTypeLocker();
