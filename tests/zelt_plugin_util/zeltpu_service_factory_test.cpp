#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "test_assertions.h"
#include "zelt/system_topology.h"
#include "zeltpu/service_factory.h"

namespace {

using zelt::plugin_util::ServiceFactory;

constexpr const char* kSource = "lib/zelt_plugin_util/src/zeltpu_service_factory";

// A service that only counts its references.
class CountingService : public plugin_api::IfService {
public:
    virtual ~CountingService() = default;
    std::uint32_t addRef() override { return ++m_count; }
    std::uint32_t release() override { return m_count--; }
    std::uint32_t count() const { return m_count; }

private:
    std::uint32_t m_count = 0;
};

// A factory held by the test with one reference, as a plug-in holds it.
class ServiceFactoryTest : public ::testing::Test {
protected:
    void SetUp() override { m_factory->addRef(); }
    void TearDown() override {
        if (m_factory != nullptr) m_factory->release();
    }

    // Services outlive the factory: TearDown releases it before the members go.
    CountingService m_service;
    CountingService m_other;
    ServiceFactory* m_factory = new ServiceFactory();
    test::RecordingAssertions m_assertions;
};

const tsa::Uuid kOtherId = {{0x00, 0x01, 0x0A, 0x10, 0xFF, 0x7F, 0x80, 0x09, 0x90, 0xA0, 0xB0, 0xC0,
                             0xD0, 0xE0, 0xF0, 0x0F}};

TEST(ServiceFactoryKeyTest, TopologyServiceKeyIsThirtyTwoUpperCaseHexDigits) {
    EXPECT_EQ(ServiceFactory::serviceKey(zelt::kSystemTopologyServiceId),
              "A5C594EA1C7F41BFA5889AC316FB5973");
}

TEST(ServiceFactoryKeyTest, KeyWritesEveryByteAsTwoZeroFilledDigitsInStorageOrder) {
    EXPECT_EQ(ServiceFactory::serviceKey(kOtherId), "00010A10FF7F800990A0B0C0D0E0F00F");
}

TEST(ServiceFactoryRefCountTest, NewFactoryHasCountZeroAndLastReleaseDestroysIt) {
    auto* factory = new ServiceFactory();
    EXPECT_EQ(factory->refCount(), 0u);
    EXPECT_EQ(factory->addRef(), 1u);
    EXPECT_EQ(factory->addRef(), 2u);
    EXPECT_EQ(factory->release(), 2u);
    EXPECT_EQ(factory->refCount(), 1u);
    // The count was 1: the factory destroys itself (ASan reports a leak otherwise).
    EXPECT_EQ(factory->release(), 1u);
}

TEST(ServiceFactoryRefCountTest, ReleaseAtZeroReportsAssertionAndKeepsCountZero) {
    test::RecordingAssertions assertions;
    auto* factory = new ServiceFactory();
    EXPECT_EQ(factory->release(), 0u);
    ASSERT_EQ(assertions.reports().size(), 1u);
    EXPECT_EQ(assertions.reports()[0].expression,
              "m_ref_count.load(std::memory_order_acquire) > 0");
    EXPECT_EQ(assertions.reports()[0].message, "");
    EXPECT_EQ(assertions.reports()[0].source, kSource);
    EXPECT_EQ(assertions.reports()[0].line, 32);
    EXPECT_EQ(factory->refCount(), 0u);
    delete factory;
}

TEST(ServiceFactoryRefCountTest, ConcurrentReferencesBalance) {
    auto* factory = new ServiceFactory();
    factory->addRef();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([factory] {
            for (int i = 0; i < 10000; ++i) {
                factory->addRef();
                factory->release();
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(factory->refCount(), 1u);
    factory->release();
}

TEST_F(ServiceFactoryTest, RegisterServiceTakesOneReferenceAndAnswersTrue) {
    EXPECT_TRUE(m_factory->registerService(zelt::kSystemTopologyServiceId, &m_service));
    EXPECT_EQ(m_service.count(), 1u);
    m_factory->release();
    m_factory = nullptr;
    // The destroyed factory gave its reference back.
    EXPECT_EQ(m_service.count(), 0u);
}

TEST_F(ServiceFactoryTest, RegisterNullServiceReportsAssertionAndRegistersNothing) {
    EXPECT_TRUE(m_factory->registerService(zelt::kSystemTopologyServiceId, nullptr));
    ASSERT_EQ(m_assertions.reports().size(), 1u);
    EXPECT_EQ(m_assertions.reports()[0].expression, "service");
    EXPECT_EQ(m_assertions.reports()[0].source, kSource);
    EXPECT_EQ(m_assertions.reports()[0].line, 55);
    EXPECT_FALSE(m_factory->getService(zelt::kSystemTopologyServiceId, nullptr));
}

TEST_F(ServiceFactoryTest, SecondServiceUnderSameIdIsNotRegisteredAndKeepsItsReference) {
    EXPECT_TRUE(m_factory->registerService(zelt::kSystemTopologyServiceId, &m_service));
    EXPECT_TRUE(m_factory->registerService(zelt::kSystemTopologyServiceId, &m_other));
    EXPECT_EQ(m_other.count(), 1u);

    plugin_api::IfService* found = nullptr;
    ASSERT_TRUE(m_factory->getService(zelt::kSystemTopologyServiceId, &found));
    EXPECT_EQ(found, &m_service);
    found->release();

    m_factory->release();
    m_factory = nullptr;
    EXPECT_EQ(m_service.count(), 0u);
    // The second service's reference is never given back.
    EXPECT_EQ(m_other.count(), 1u);
}

TEST_F(ServiceFactoryTest, GetServiceOfUnknownIdStoresNullAndAnswersFalse) {
    m_factory->registerService(zelt::kSystemTopologyServiceId, &m_service);
    plugin_api::IfService* found = &m_other;
    EXPECT_FALSE(m_factory->getService(kOtherId, &found));
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(m_service.count(), 1u);
}

TEST_F(ServiceFactoryTest, GetServiceOfKnownIdWithNullOutAnswersTrueWithoutReference) {
    m_factory->registerService(zelt::kSystemTopologyServiceId, &m_service);
    EXPECT_TRUE(m_factory->getService(zelt::kSystemTopologyServiceId, nullptr));
    EXPECT_EQ(m_service.count(), 1u);
}

TEST_F(ServiceFactoryTest, GetServiceOfUnknownIdWithNullOutAnswersFalse) {
    EXPECT_FALSE(m_factory->getService(kOtherId, nullptr));
}

TEST_F(ServiceFactoryTest, GetServiceOfKnownIdStoresServiceWithOneAddedReference) {
    m_factory->registerService(zelt::kSystemTopologyServiceId, &m_service);
    plugin_api::IfService* found = nullptr;
    EXPECT_TRUE(m_factory->getService(zelt::kSystemTopologyServiceId, &found));
    EXPECT_EQ(found, &m_service);
    EXPECT_EQ(m_service.count(), 2u);
    found->release();
}

TEST_F(ServiceFactoryTest, ServicesUnderDifferentIdsAreKeptApart) {
    m_factory->registerService(zelt::kSystemTopologyServiceId, &m_service);
    m_factory->registerService(kOtherId, &m_other);
    plugin_api::IfService* found = nullptr;
    ASSERT_TRUE(m_factory->getService(kOtherId, &found));
    EXPECT_EQ(found, &m_other);
    found->release();
    m_factory->release();
    m_factory = nullptr;
    EXPECT_EQ(m_service.count(), 0u);
    EXPECT_EQ(m_other.count(), 0u);
}

}  // namespace
