#include "uni/assertion_report.h"
#include "zeltpu/service_factory.h"

namespace zelt::plugin_util {
namespace {

constexpr const char* kSource = "lib/zelt_plugin_util/src/zeltpu_service_factory";
constexpr int kReleaseLine = 32;
constexpr int kRegisterLine = 55;

}  // namespace

std::uint32_t ServiceFactory::addRef() { return m_ref_count.fetch_add(1) + 1; }

std::uint32_t ServiceFactory::release() {
    if (!uni::check(m_ref_count.load(std::memory_order_acquire) > 0,
                    "m_ref_count.load(std::memory_order_acquire) > 0", kSource, kReleaseLine)) {
        // A release without a reference: leave the count at 0 rather than wrap it.
        return 0;
    }
    const std::uint32_t previous = m_ref_count.fetch_sub(1);
    if (previous == 1) delete this;
    return previous;
}

bool ServiceFactory::getService(const tsa::Uuid& id, plugin_api::IfService** service) {
    const auto it = m_services.find(serviceKey(id));
    if (service == nullptr) return it != m_services.end();
    if (it == m_services.end()) {
        *service = nullptr;
        return false;
    }
    it->second->addRef();
    *service = it->second;
    return true;
}

ServiceFactory::~ServiceFactory() {
    for (auto& entry : m_services) entry.second->release();
    m_services.clear();
}

bool ServiceFactory::registerService(const tsa::Uuid& id, plugin_api::IfService* service) {
    if (!uni::check(service != nullptr, "service", kSource, kRegisterLine)) return true;
    service->addRef();
    // emplace keeps the service already registered under the key.
    m_services.emplace(serviceKey(id), service);
    return true;
}

std::string ServiceFactory::serviceKey(const tsa::Uuid& id) {
    static constexpr char kHexDigits[] = "0123456789ABCDEF";
    std::string key;
    key.reserve(2 * sizeof id.data);
    for (const std::uint8_t byte : id.data) {
        key += kHexDigits[byte >> 4];
        key += kHexDigits[byte & 0x0F];
    }
    return key;
}

}  // namespace zelt::plugin_util
