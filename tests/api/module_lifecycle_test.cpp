// What unloading takes away, and what it leaves to a thread that is still at work.
#include <future>
#include <thread>

#include "api/conversion_lock.h"
#include "api/handle_table.h"
#include "export_fixture.h"
#include "platform/module_hooks.h"

namespace sbx::testing {
namespace {

class Unloading : public ExportTest {
 protected:
  ~Unloading() override { FreeAllHandles(); }

  std::int32_t Rebuild(const char16_t* xml, JSHandle** handle) {
    return SBXXMLToBinary(module.handle(), kPdbId, kRuleId, u"Job", xml, handle);
  }
};

TEST_F(Unloading, FreesTheSetsAndEveryHandleThoseOfFailuresToo) {
  JSHandle* handles[3] = {};
  for (JSHandle*& handle : handles) ASSERT_EQ(Rebuild(kJobXml, &handle), SBX_OK);
  ASSERT_EQ(SBXFreeJSHandle(handles[1]), SBX_OK);
  ASSERT_EQ(Rebuild(u"<J><Job><Name>a</Name></Job><", nullptr), SBX_E_CONTENT);
  ASSERT_EQ(HandleCount(), 3);
  OnModuleDetach();
  EXPECT_EQ(HandleCount(), 0);
  for (JSHandle* const handle : handles) {
    EXPECT_EQ(SBXHandleToBuffer(handle, nullptr, nullptr), SBX_E_PARAMETER);
    EXPECT_EQ(SBXFreeJSHandle(handle), SBX_OK);
  }
  EXPECT_EQ(g_conversion.cachedDescSet, nullptr);
  EXPECT_EQ(g_conversion.cachedRuleSet, nullptr);
  EXPECT_EQ(Rebuild(kJobXml, &handles[0]), SBX_OK) << "and a later call starts anew";
}

TEST_F(Unloading, TakesNothingFromUnderAThreadThatConverts) {
  JSHandle* handle = nullptr;
  ASSERT_EQ(Rebuild(kJobXml, &handle), SBX_OK);
  std::promise<void> held;
  std::promise<void> unloaded;
  std::thread converting([&] {
    const ConversionLock lock;
    held.set_value();
    unloaded.get_future().wait();
  });
  held.get_future().wait();
  OnModuleDetach();
  EXPECT_NE(g_conversion.cachedDescSet, nullptr);
  EXPECT_EQ(HandleCount(), 1);
  unloaded.set_value();
  converting.join();
}

}  // namespace
}  // namespace sbx::testing
