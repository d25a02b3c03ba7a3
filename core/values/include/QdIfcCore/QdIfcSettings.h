// Process-wide settings of the toolkit.
#pragma once

#include <QdIfcCore/Export.h>

#include <atomic>

namespace QD_SDAI {

class QDIFCCORE_API QdIfcSettings {
 public:
  // True when string members of entities hold UTF-8; false (the default) when
  // they hold the transported form of the STEP file, escapes and all.
  bool get_useUTF8() const noexcept { return m_useUTF8.load(std::memory_order_relaxed); }
  void set_useUTF8(bool on) noexcept { m_useUTF8.store(on, std::memory_order_relaxed); }

 private:
  std::atomic<bool> m_useUTF8{false};
};

}  // namespace QD_SDAI

QDIFCCORE_API QD_SDAI::QdIfcSettings& settings();
