#include "protocol/identifiers.h"

#include <gtest/gtest.h>

#include <string>

#include "protocol/limits.h"

using namespace velm::protocol;

namespace {

TEST(Limits, OfPinsAndNames) {
  EXPECT_EQ(kShortestPin, 4u);
  EXPECT_EQ(kLongestPin, 31u);
  EXPECT_EQ(kPinRetries, 10u);
  EXPECT_EQ(kLongestContainerName, 200u);
}

TEST(Identifiers, OfAlgorithmsKeysAndLabels) {
  EXPECT_EQ(kSm3, 1u);
  EXPECT_EQ(kSha1, 2u);
  EXPECT_EQ(kSha256, 4u);
  EXPECT_EQ(kSm2Signature, 0x00020200u);
  EXPECT_EQ(std::string(kDefaultUserId), "1234567812345678");
  EXPECT_EQ(kSm4Cbc, 0x402u);
  EXPECT_EQ(kTripleDesCbc, 0x2002u);
  EXPECT_EQ(kRsaKey, 1u);
  EXPECT_EQ(kSm2Key, 2u);
  EXPECT_EQ(kEncryptionKey, 1u);
  EXPECT_EQ(kSigningKey, 2u);
  EXPECT_EQ(kContentData, 1u);
  EXPECT_EQ(kHashData, 2u);
  EXPECT_EQ(kCertificateLabel, 7u);
}

}  // namespace
