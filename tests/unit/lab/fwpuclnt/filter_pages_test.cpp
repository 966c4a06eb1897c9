#include "fwpuclnt/filter_pages.h"

#include <gtest/gtest.h>

#include "lab/fwpuclnt/filtering.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kPage = 64;

Wfp WithFilters(size_t count) {
  Wfp wfp = Engine();
  uint64_t id = 0;
  for (size_t i = 0; i < count; ++i) EXPECT_EQ(AddFilter(wfp, BlockPort53(), id), 0u);
  return wfp;
}

std::vector<size_t> PageSizes(const Wfp& wfp) {
  Enumerations enumerations;
  const uint64_t handle = CreateEnumeration(enumerations, wfp);
  std::vector<size_t> sizes;
  std::vector<WfpFilter> page;
  do {
    EXPECT_EQ(TakePage(enumerations, handle, kPage, page), 0u);
    sizes.push_back(page.size());
  } while (page.size() == kPage);
  return sizes;
}

TEST(FilterPages, AreFullButTheLastWhichMayBeEmpty) {
  EXPECT_EQ(PageSizes(WithFilters(0)), (std::vector<size_t>{0}));
  EXPECT_EQ(PageSizes(WithFilters(63)), (std::vector<size_t>{63}));
  EXPECT_EQ(PageSizes(WithFilters(64)), (std::vector<size_t>{64, 0}));
  EXPECT_EQ(PageSizes(WithFilters(65)), (std::vector<size_t>{64, 1}));
  EXPECT_EQ(PageSizes(WithFilters(130)), (std::vector<size_t>{64, 64, 2}));
}

TEST(FilterPages, HoldEveryFilterOnceInItsOrder) {
  const Wfp wfp = WithFilters(130);
  Enumerations enumerations;
  const uint64_t handle = CreateEnumeration(enumerations, wfp);
  std::vector<WfpFilter> all;
  std::vector<WfpFilter> page;
  do {
    ASSERT_EQ(TakePage(enumerations, handle, kPage, page), 0u);
    all.insert(all.end(), page.begin(), page.end());
  } while (!page.empty());
  EXPECT_EQ(all, wfp.filters);
}

TEST(FilterPages, ShowTheFiltersAsTheyWereAtTheCreation) {
  Wfp wfp = WithFilters(3);
  Enumerations enumerations;
  const uint64_t handle = CreateEnumeration(enumerations, wfp);
  const std::vector<WfpFilter> before = wfp.filters;
  wfp.filters.clear();
  std::vector<WfpFilter> page;
  ASSERT_EQ(TakePage(enumerations, handle, kPage, page), 0u);
  EXPECT_EQ(page, before);
}

TEST(FilterPages, TwoEnumerationsGoOnEachByItself) {
  const Wfp wfp = WithFilters(2);
  Enumerations enumerations;
  const uint64_t one = CreateEnumeration(enumerations, wfp);
  const uint64_t other = CreateEnumeration(enumerations, wfp);
  std::vector<WfpFilter> page;
  ASSERT_EQ(TakePage(enumerations, one, 2, page), 0u);
  ASSERT_EQ(TakePage(enumerations, other, 1, page), 0u);
  EXPECT_EQ(page, std::vector<WfpFilter>{wfp.filters[0]});
}

TEST(FilterPages, AHandleThatIsNotOpenIsRefused) {
  Enumerations enumerations;
  std::vector<WfpFilter> page;
  EXPECT_EQ(TakePage(enumerations, 1, kPage, page), kInvalidEnumerator);
  const uint64_t handle = CreateEnumeration(enumerations, WithFilters(1));
  EXPECT_EQ(DestroyEnumeration(enumerations, handle), 0u);
  EXPECT_EQ(TakePage(enumerations, handle, kPage, page), kInvalidEnumerator);
  EXPECT_EQ(DestroyEnumeration(enumerations, handle), kInvalidEnumerator);
}

}  // namespace
}  // namespace moorlak::lab
