// OID registry: every entry checked against OpenSSL's encoder, the lookups,
// and the converters between dotted text, arc arrays and BER content octets
// with their exact errors, narrow arithmetic and bounds.
#include "asn1/oid.h"

#include <gtest/gtest.h>
#include <openssl/objects.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tests/common/testutil.h"

namespace sigillo {
namespace {

using test::Bytes;
using test::fromHex;
using test::toHex;

struct Row {
  int number;
  const char* name;
  const char* dotted;
};

// The registry as published: number, name, dotted form.
const Row kRegistry[] = {
    {0, "SmartcardLogon", "1.3.6.1.4.1.311.20.2.2"},
    {1, "sha-1WithRSAEncryption", "1.3.14.3.2.29"},
    {2, "ripemd160", "1.3.36.3.2.1"},
    {3, "qcCompliance", "0.4.0.1862.1.1"},
    {4, "qcLimitValue", "0.4.0.1862.1.2"},
    {5, "qcRetentionPeriod", "0.4.0.1862.1.3"},
    {6, "qcSSCD", "0.4.0.1862.1.4"},
    {7, "dsa", "1.2.840.10040.4.1"},
    {8, "dsa-with-sha1", "1.2.840.10040.4.3"},
    {9, "fieldType", "1.2.840.10045.1"},
    {10, "primefield", "1.2.840.10045.1.1"},
    {11, "char2field", "1.2.840.10045.1.2"},
    {12, "char2", "1.2.840.10045.3.0"},
    {13, "PrimeCurve", "1.2.840.10045.3.1"},
    {14, "prime192v1", "1.2.840.10045.3.1.1"},
    {15, "prime192v2", "1.2.840.10045.3.1.2"},
    {16, "prime192v3", "1.2.840.10045.3.1.3"},
    {17, "prime239v1", "1.2.840.10045.3.1.4"},
    {18, "prime239v2", "1.2.840.10045.3.1.5"},
    {19, "prime239v3", "1.2.840.10045.3.1.6"},
    {20, "prime256v1", "1.2.840.10045.3.1.7"},
    {21, "c2pnb163v1", "1.2.840.10045.3.0.1"},
    {22, "c2pnb163v2", "1.2.840.10045.3.0.2"},
    {23, "c2pnb163v3", "1.2.840.10045.3.0.3"},
    {24, "c2tnb191v1", "1.2.840.10045.3.0.5"},
    {25, "c2tnb191v2", "1.2.840.10045.3.0.6"},
    {26, "c2tnb191v3", "1.2.840.10045.3.0.7"},
    {27, "c2pnb208w1", "1.2.840.10045.3.0.10"},
    {28, "c2tnb239v1", "1.2.840.10045.3.0.11"},
    {29, "c2tnb239v2", "1.2.840.10045.3.0.12"},
    {30, "c2tnb239v3", "1.2.840.10045.3.0.13"},
    {31, "c2pnb272w1", "1.2.840.10045.3.0.16"},
    {32, "c2tnb359v1", "1.2.840.10045.3.0.18"},
    {33, "c2pnb368w1", "1.2.840.10045.3.0.19"},
    {34, "c2tnb431r1", "1.2.840.10045.3.0.20"},
    {35, "char2basis", "1.2.840.10045.1.2.3"},
    {36, "onBasis", "1.2.840.10045.1.2.3.1"},
    {37, "tpBasis", "1.2.840.10045.1.2.3.2"},
    {38, "ppBasis", "1.2.840.10045.1.2.3.3"},
    {39, "gnBasis", "1.2.840.10045.1.2.1"},
    {40, "publicKeyType", "1.2.840.10045.2"},
    {41, "ecPublicKey", "1.2.840.10045.2.1"},
    {42, "ecdsawithSHA1", "1.2.840.10045.4.1"},
    {43, "ecdsawithRecommended", "1.2.840.10045.4.2"},
    {44, "ecdsawithSHA2", "1.2.840.10045.4.3"},
    {45, "ecdsawithSHA224", "1.2.840.10045.4.3.1"},
    {46, "ecdsawithSHA256", "1.2.840.10045.4.3.2"},
    {47, "ecdsawithSHA384", "1.2.840.10045.4.3.3"},
    {48, "ecdsawithSHA512", "1.2.840.10045.4.3.4"},
    {49, "cast3CBC", "1.2.840.113533.7.66.3"},
    {50, "cast5CBC", "1.2.840.113533.7.66.10"},
    {51, "rsaEncryption", "1.2.840.113549.1.1.1"},
    {52, "md2WithRSAEncryption", "1.2.840.113549.1.1.2"},
    {53, "md5WithRSAEncryption", "1.2.840.113549.1.1.4"},
    {54, "sha1WithRSAEncryption", "1.2.840.113549.1.1.5"},
    {55, "sha256WithRSAEncryption", "1.2.840.113549.1.1.11"},
    {56, "sha512WithRSAEncryption", "1.2.840.113549.1.1.13"},
    {57, "emailAddress", "1.2.840.113549.1.9.1"},
    {58, "challengePassword", "1.2.840.113549.1.9.7"},
    {59, "data", "1.2.840.113549.1.7.1"},
    {60, "signedData", "1.2.840.113549.1.7.2"},
    {61, "envelopedData", "1.2.840.113549.1.7.3"},
    {62, "signedAndEnvelopedData", "1.2.840.113549.1.7.4"},
    {63, "digestedData", "1.2.840.113549.1.7.5"},
    {64, "encryptedData", "1.2.840.113549.1.7.6"},
    {65, "dataWithAttributes", "1.2.840.113549.1.7.7"},
    {66, "encryptedPrivateKeyInfo", "1.2.840.113549.1.7.8"},
    {67, "contentType", "1.2.840.113549.1.9.3"},
    {68, "messageDigest", "1.2.840.113549.1.9.4"},
    {69, "signingTime", "1.2.840.113549.1.9.5"},
    {70, "countersignature", "1.2.840.113549.1.9.6"},
    {71, "sMIMECapabilities", "1.2.840.113549.1.9.15"},
    {72, "preferSignedData", "1.2.840.113549.1.9.15.1"},
    {73, "canNotDecryptAny", "1.2.840.113549.1.9.15.2"},
    {74, "mod-cms", "1.2.840.113549.1.9.16.0.1"},
    {75, "mod-ess", "1.2.840.113549.1.9.16.0.2"},
    {76, "mod-oid", "1.2.840.113549.1.9.16.0.3"},
    {77, "ct-receipt", "1.2.840.113549.1.9.16.1.1"},
    {78, "ct-authData", "1.2.840.113549.1.9.16.1.2"},
    {79, "ct-publishCert", "1.2.840.113549.1.9.16.1.3"},
    {80, "timestampedData", "1.2.840.113549.1.9.16.1.31"},
    {81, "aa-receiptRequest", "1.2.840.113549.1.9.16.2.1"},
    {82, "aa-securityLabel", "1.2.840.113549.1.9.16.2.2"},
    {83, "aa-mlExpandHistory", "1.2.840.113549.1.9.16.2.3"},
    {84, "aa-contentHint", "1.2.840.113549.1.9.16.2.4"},
    {85, "aa-msgSigDigest", "1.2.840.113549.1.9.16.2.5"},
    {86, "aa-encapContentType", "1.2.840.113549.1.9.16.2.6"},
    {87, "aa-contentIdentifier", "1.2.840.113549.1.9.16.2.7"},
    {88, "aa-macValue", "1.2.840.113549.1.9.16.2.8"},
    {89, "aa-equivalentLabels", "1.2.840.113549.1.9.16.2.9"},
    {90, "aa-contentReference", "1.2.840.113549.1.9.16.2.10"},
    {91, "aa-encrypKeyPref", "1.2.840.113549.1.9.16.2.11"},
    {92, "SigningCertificate", "1.2.840.113549.1.9.16.2.12"},
    {93, "aa-smimeEncrypCerts", "1.2.840.113549.1.9.16.2.13"},
    {94, "SignatureTimeStamp", "1.2.840.113549.1.9.16.2.14"},
    {95, "SignaturePolicy", "1.2.840.113549.1.9.16.2.15"},
    {96, "ContentTimeStamp", "1.2.840.113549.1.9.16.2.20"},
    {97, "SigningCertificateV2", "1.2.840.113549.1.9.16.2.47"},
    {98, "alg-ESDHwith3DES", "1.2.840.113549.1.9.16.3.1"},
    {99, "alg-ESDHwithRC2", "1.2.840.113549.1.9.16.3.2"},
    {100, "alg-3DESwrap", "1.2.840.113549.1.9.16.3.3"},
    {101, "alg-RC2wrap", "1.2.840.113549.1.9.16.3.4"},
    {102, "alg-ESDH", "1.2.840.113549.1.9.16.3.5"},
    {103, "SPuri", "1.2.840.113549.1.9.16.5.1"},
    {104, "SPUserNotice", "1.2.840.113549.1.9.16.5.2"},
    {105, "pbeWithMD2AndDES-CBC", "1.2.840.113549.1.5.1"},
    {106, "pbeWithMD5AndDES-CBC", "1.2.840.113549.1.5.3"},
    {107, "pbeWithSHAAnd128BitRC4", "1.2.840.113549.1.12.1.1"},
    {108, "pbeWithSHAAnd40BitRC4", "1.2.840.113549.1.12.1.2"},
    {109, "pbeWithSHAAnd3-KeyTripleDES-CBC", "1.2.840.113549.1.12.1.3"},
    {110, "pbeWithSHAAnd2-KeyTripleDES-CBC", "1.2.840.113549.1.12.1.4"},
    {111, "pbeWithSHAAnd128BitRC2-CBC", "1.2.840.113549.1.12.1.5"},
    {112, "pbeWithSHAAnd40BitRC2-CBC", "1.2.840.113549.1.12.1.6"},
    {113, "rc4", "1.2.840.113549.3.4"},
    {114, "unstructuredName", "1.2.840.113549.1.9.2"},
    {115, "keyBag", "1.2.840.113549.1.12.10.1.1"},
    {116, "pkcs-8ShroudedKeyBag", "1.2.840.113549.1.12.10.1.2"},
    {117, "certBag", "1.2.840.113549.1.12.10.1.3"},
    {118, "crlBag", "1.2.840.113549.1.12.10.1.4"},
    {119, "secretBag", "1.2.840.113549.1.12.10.1.5"},
    {120, "safeContentsBag", "1.2.840.113549.1.12.10.1.6"},
    {121, "x509Certificate", "1.2.840.113549.1.9.22.1"},
    {122, "sdsiCertificate", "1.2.840.113549.1.9.22.2"},
    {123, "X509Crl", "1.2.840.113549.1.9.23.1"},
    {124, "friendlyName", "1.2.840.113549.1.9.20"},
    {125, "localKeyId", "1.2.840.113549.1.9.21"},
    {126, "hmacWithSHA1", "1.2.840.113549.2.7"},
    {127, "unstructuredAddress", "1.2.840.113549.1.9.8"},
    {128, "TSTInfo", "1.2.840.113549.1.9.16.1.4"},
    {129, "TDTInfo", "1.2.840.113549.1.9.16.1.5"},
    {130, "md2", "1.2.840.113549.2.2"},
    {131, "md5", "1.2.840.113549.2.5"},
    {132, "hmacWithSHA256", "1.2.840.113549.2.9"},
    {133, "hmacWithSHA512", "1.2.840.113549.2.11"},
    {134, "rc2CBC", "1.2.840.113549.3.2"},
    {135, "des-ede3-cbc", "1.2.840.113549.3.7"},
    {136, "rc5CBCPad", "1.2.840.113549.3.9"},
    {137, "rc5ECB", "1.2.840.113549.3.11"},
    {138, "authorityInfoAccess", "1.3.6.1.5.5.7.1.1"},
    {139, "biometricInfo", "1.3.6.1.5.5.7.1.2"},
    {140, "qcStatements", "1.3.6.1.5.5.7.1.3"},
    {141, "subjectInfoAccess", "1.3.6.1.5.5.7.1.11"},
    {142, "cPSuri", "1.3.6.1.5.5.7.2.1"},
    {143, "userNotice", "1.3.6.1.5.5.7.2.2"},
    {144, "serverAuth", "1.3.6.1.5.5.7.3.1"},
    {145, "clientAuth", "1.3.6.1.5.5.7.3.2"},
    {146, "codeSigning", "1.3.6.1.5.5.7.3.3"},
    {147, "emailProtection", "1.3.6.1.5.5.7.3.4"},
    {148, "timeStamping", "1.3.6.1.5.5.7.3.8"},
    {149, "OCSPSigning", "1.3.6.1.5.5.7.3.9"},
    {150, "dateOfBirth", "1.3.6.1.5.5.7.9.1"},
    {151, "placeOfBirth", "1.3.6.1.5.5.7.9.2"},
    {152, "gender", "1.3.6.1.5.5.7.9.3"},
    {153, "countryOfCitizenship", "1.3.6.1.5.5.7.9.4"},
    {154, "countryOfResidence", "1.3.6.1.5.5.7.9.5"},
    {155, "qcStatementsV1", "1.3.6.1.5.5.7.11.1"},
    {156, "qcStatementsV2", "1.3.6.1.5.5.7.11.2"},
    {157, "infoAccessOcsp", "1.3.6.1.5.5.7.48.1"},
    {158, "infoAccessCaIssuers", "1.3.6.1.5.5.7.48.2"},
    {159, "ocspBasic", "1.3.6.1.5.5.7.48.1.1"},
    {160, "ocspNonce", "1.3.6.1.5.5.7.48.1.2"},
    {161, "ocspCRL", "1.3.6.1.5.5.7.48.1.3"},
    {162, "ocspResponse", "1.3.6.1.5.5.7.48.1.4"},
    {163, "ocspNoCheck", "1.3.6.1.5.5.7.48.1.5"},
    {164, "ocspArchiveCutoff", "1.3.6.1.5.5.7.48.1.6"},
    {165, "ocspServiceLocator", "1.3.6.1.5.5.7.48.1.7"},
    {166, "des-ecb", "1.3.14.3.2.6"},
    {167, "des-cbc", "1.3.14.3.2.7"},
    {168, "des-ede3-ecb", "1.3.14.3.2.17"},
    {169, "sha1", "1.3.14.3.2.26"},
    {170, "commonName", "2.5.4.3"},
    {171, "surName", "2.5.4.4"},
    {172, "serialNumber", "2.5.4.5"},
    {173, "countryName", "2.5.4.6"},
    {174, "localityName", "2.5.4.7"},
    {175, "stateOrProvinceName", "2.5.4.8"},
    {176, "organizationName", "2.5.4.10"},
    {177, "organizationalUnitName", "2.5.4.11"},
    {178, "title", "2.5.4.12"},
    {179, "description", "2.5.4.13"},
    {180, "postalAddress", "2.5.4.16"},
    {181, "givenName", "2.5.4.42"},
    {182, "dnQualifier", "2.5.4.46"},
    {183, "pseudonym", "2.5.4.65"},
    {184, "rsa", "2.5.8.1.1"},
    {185, "mdc2", "2.5.8.3.101"},
    {186, "anyPolicy", "2.5.29.32.0"},
    {187, "subjectDirectoryAttributes", "2.5.29.9"},
    {188, "subjectKeyIdentifier", "2.5.29.14"},
    {189, "keyUsage", "2.5.29.15"},
    {190, "privateKeyUsagePeriod", "2.5.29.16"},
    {191, "subjectAltName", "2.5.29.17"},
    {192, "issuerAltName", "2.5.29.18"},
    {193, "basicConstraints", "2.5.29.19"},
    {194, "cRLNumber", "2.5.29.20"},
    {195, "reasonCode", "2.5.29.21"},
    {196, "holdInstruction", "2.5.29.23"},
    {197, "invalidityDate ", "2.5.29.24"},
    {198, "deltaCRLIndicator", "2.5.29.27"},
    {199, "issuingDistributionPoint", "2.5.29.28"},
    {200, "certificateIssuer", "2.5.29.29"},
    {201, "nameConstraints", "2.5.29.30"},
    {202, "cRLDistributionPoints", "2.5.29.31"},
    {203, "certificatePolicy", "2.5.29.32"},
    {204, "policyMappings", "2.5.29.33"},
    {205, "authorityKeyIdentifier", "2.5.29.35"},
    {206, "policyConstraints", "2.5.29.36"},
    {207, "extKeyUsage", "2.5.29.37"},
    {208, "anyExtendedKeyUsage", "2.5.29.37.0"},
    {209, "freshestCRL", "2.5.29.46"},
    {210, "inhibitAnyPolicy", "2.5.29.54"},
    {211, "expiredCertsOnCRL", "2.5.29.60"},
    {212, "aes128ECB", "2.16.840.1.101.3.4.1.1"},
    {213, "aes128CBC", "2.16.840.1.101.3.4.1.2"},
    {214, "aes128OFB", "2.16.840.1.101.3.4.1.3"},
    {215, "aes128CFB", "2.16.840.1.101.3.4.1.4"},
    {216, "aes192ECB", "2.16.840.1.101.3.4.1.21"},
    {217, "aes192CBC", "2.16.840.1.101.3.4.1.22"},
    {218, "aes192OFB", "2.16.840.1.101.3.4.1.23"},
    {219, "aes192CFB", "2.16.840.1.101.3.4.1.24"},
    {220, "aes256ECB", "2.16.840.1.101.3.4.1.41"},
    {221, "aes256CBC", "2.16.840.1.101.3.4.1.42"},
    {222, "aes256OFB", "2.16.840.1.101.3.4.1.43"},
    {223, "aes256CFB", "2.16.840.1.101.3.4.1.44"},
    {224, "sha256", "2.16.840.1.101.3.4.2.1"},
    {225, "sha512", "2.16.840.1.101.3.4.2.3"},
    {226, "nsCertType", "2.16.840.1.113730.1.1"},
    {227, "nsBaseUrl", "2.16.840.1.113730.1.2"},
    {228, "nsRevocationUrl", "2.16.840.1.113730.1.3"},
    {229, "nsCARevocationUrl", "2.16.840.1.113730.1.4"},
    {230, "nsRenewalUrl", "2.16.840.1.113730.1.7"},
    {231, "nsPolicyUrl", "2.16.840.1.113730.1.8"},
    {232, "nsSSLServerName", "2.16.840.1.113730.1.12"},
    {233, "nsComment", "2.16.840.1.113730.1.13"},
};

// Encoding of a dotted OID by OpenSSL, as content octets.
Bytes opensslContent(const std::string& dotted) {
  ASN1_OBJECT* object = OBJ_txt2obj(dotted.c_str(), 1);
  if (object == nullptr) return {};
  const unsigned char* data = OBJ_get0_data(object);
  Bytes content(data, data + OBJ_length(object));
  ASN1_OBJECT_free(object);
  return content;
}

Bytes entryContent(int n) {
  return Bytes(OIDtable[n].content, OIDtable[n].content + OIDtable[n].length);
}

// Expects exactly these records on the error stack, oldest first.
struct Expected {
  const char* function;
  uint32_t code;
  std::string message;
};
void expectStack(const std::vector<Expected>& expected, const std::string& what) {
  auto stack = test::errorStack();
  ASSERT_EQ(stack.size(), expected.size()) << what;
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(stack[i].file, "oid") << what;
    EXPECT_EQ(stack[i].function, expected[i].function) << what;
    EXPECT_EQ(stack[i].code, expected[i].code) << what;
    EXPECT_EQ(stack[i].message, expected[i].message) << what;
  }
}

void clearErrors() {
  TRclrerr();
  TRclearerrstack(staticTraceState());
}

// A buffer with guard bytes behind the part the callee may use.
constexpr uint8_t kGuard = 0xEE;
constexpr size_t kGuardBytes = 16;

bool guardIntact(const std::vector<uint8_t>& buffer, size_t size) {
  for (size_t i = size; i < buffer.size(); ++i) {
    if (buffer[i] != kGuard) return false;
  }
  return true;
}

std::string dotted(const std::vector<int32_t>& arcs) {
  std::string text;
  for (size_t i = 0; i < arcs.size(); ++i) text += (i ? "." : "") + std::to_string(arcs[i]);
  return text;
}

// ---- The registry -----------------------------------------------------------------------------

TEST(OidRegistry, SizeAndTerminators) {
  ASSERT_EQ(std::size(kRegistry), static_cast<size_t>(kOidCount));
  EXPECT_EQ(kOidCount, 234);
  EXPECT_NE(OIDstr[kOidCount - 1], nullptr);
  EXPECT_EQ(OIDstr[kOidCount], nullptr);
  EXPECT_EQ(OIDtable[kOidCount].length, 0u);
  for (size_t i = 0; i < kOidMaxContent; ++i) EXPECT_EQ(OIDtable[kOidCount].content[i], 0) << i;
}

TEST(OidRegistry, EveryEntryMatchesOpenSsl) {
  for (const Row& row : kRegistry) {
    const int n = row.number;
    const Bytes expected = opensslContent(row.dotted);
    ASSERT_FALSE(expected.empty()) << row.dotted;
    ASSERT_LE(OIDtable[n].length, kOidMaxContent) << n;
    EXPECT_EQ(toHex(entryContent(n)), toHex(expected)) << n << " " << row.dotted;
    for (size_t i = OIDtable[n].length; i < kOidMaxContent; ++i) {
      EXPECT_EQ(OIDtable[n].content[i], 0) << n << " octet " << i;
    }
  }
}

TEST(OidRegistry, EveryEntryNamedAndConverted) {
  clearErrors();
  for (const Row& row : kRegistry) {
    const int n = row.number;
    EXPECT_STREQ(OIDstr[n], row.name) << n;
    EXPECT_STREQ(getOIDstr(n), row.name) << n;
    EXPECT_EQ(isValidOID(n), 1) << n;
    EXPECT_EQ(OIDname2const(row.name), n) << row.name;
    EXPECT_EQ(OIDber2const(OIDtable[n].content, OIDtable[n].length), n) << n;

    char text[128];
    EXPECT_EQ(OIDber2str(text, sizeof text, OIDtable[n].content, OIDtable[n].length),
              static_cast<int>(strlen(row.dotted)) + 1)
        << n;
    EXPECT_STREQ(text, row.dotted) << n;

    uint8_t content[kOidMaxContent];
    ASSERT_EQ(OIDstr2ber(content, sizeof content, row.dotted), static_cast<int>(OIDtable[n].length))
        << n;
    EXPECT_EQ(memcmp(content, OIDtable[n].content, OIDtable[n].length), 0) << n;
  }
  EXPECT_TRUE(test::errorStack().empty());
}

TEST(OidRegistry, NamedConstants) {
  const struct {
    int constant;
    const char* name;
  } cases[] = {
      {kOidSmartcardLogon, "SmartcardLogon"},
      {kOidSha1WithRSAEncryptionOiw, "sha-1WithRSAEncryption"},
      {kOidSha1WithRSAEncryption, "sha1WithRSAEncryption"},
      {kOidSha256WithRSAEncryption, "sha256WithRSAEncryption"},
      {kOidEcdsawithSHA256, "ecdsawithSHA256"},
      {kOidPkcs8ShroudedKeyBag, "pkcs-8ShroudedKeyBag"},
      {kOidX509Crl, "X509Crl"},
      {kOidDesEde3Cbc, "des-ede3-cbc"},
      {kOidCommonName, "commonName"},
      {kOidSurName, "surName"},
      {kOidInvalidityDate, "invalidityDate "},
      {kOidCertificatePolicy, "certificatePolicy"},
      {kOidAes256CBC, "aes256CBC"},
      {kOidNsComment, "nsComment"},
  };
  for (const auto& c : cases) EXPECT_STREQ(getOIDstr(c.constant), c.name) << c.constant;
}

// ---- Lookups ------------------------------------------------------------------------------------

TEST(OidLookup, ValidNumbersAndNames) {
  const struct {
    int n;
    int valid;
    const char* name;
  } cases[] = {
      {0, 1, "SmartcardLogon"}, {233, 1, "nsComment"},   {234, 0, "UNKNOWN"},
      {-1, 0, "UNKNOWN"},       {INT_MAX, 0, "UNKNOWN"}, {INT_MIN, 0, "UNKNOWN"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(isValidOID(c.n), c.valid) << c.n;
    EXPECT_STREQ(getOIDstr(c.n), c.name) << c.n;
  }
}

TEST(OidLookup, ConstToNameCutsAndTerminates) {
  const struct {
    int n;
    size_t size;
    const char* text;
  } cases[] = {
      {170, 64, "commonName"},
      {170, 11, "commonName"},
      {170, 10, "commonNam"},
      {170, 5, "comm"},
      {170, 1, ""},
      {197, 64, "invalidityDate "},
      {197, 15, "invalidityDate"},
      {-1, 64, ""},
      {234, 64, ""},
  };
  for (const auto& c : cases) {
    std::vector<uint8_t> buffer(c.size + kGuardBytes, kGuard);
    char* text = reinterpret_cast<char*>(buffer.data());
    EXPECT_EQ(OIDconst2name(text, c.size, c.n), 0) << c.n << "/" << c.size;
    EXPECT_STREQ(text, c.text) << c.n << "/" << c.size;
    EXPECT_TRUE(guardIntact(buffer, c.size)) << c.n << "/" << c.size;
  }
  std::vector<uint8_t> untouched(kGuardBytes, kGuard);
  EXPECT_EQ(OIDconst2name(reinterpret_cast<char*>(untouched.data()), 0, 170), 0);
  EXPECT_TRUE(guardIntact(untouched, 0));
}

TEST(OidLookup, NameToConst) {
  clearErrors();
  const struct {
    const char* name;
    int number;
  } cases[] = {
      {"commonName", 170},
      {"CommonName", -1},
      {"commonname", -1},
      {"invalidityDate", -1},
      {"invalidityDate ", 197},
      {"sha-1WithRSAEncryption", 1},
      {"sha1WithRSAEncryption", 54},
      {"certificatePolicies", -1},
      {"", -1},
      {"UNKNOWN", -1},
      {nullptr, -1},
  };
  for (const auto& c : cases)
    EXPECT_EQ(OIDname2const(c.name), c.number) << (c.name ? c.name : "null");
  EXPECT_TRUE(test::errorStack().empty());
}

TEST(OidLookup, DamagedNameTableIsReported) {
  std::vector<std::string> names;
  for (int i = 0; i <= kOidCount; ++i) names.push_back("name" + std::to_string(i));
  std::vector<const char*> table;
  for (const std::string& name : names) table.push_back(name.c_str());
  table.push_back(nullptr);

  clearErrors();
  EXPECT_EQ(OIDfindName(table.data(), "name233"), 233);
  EXPECT_EQ(OIDfindName(table.data(), "absent"), -1);
  EXPECT_TRUE(test::errorStack().empty());
  EXPECT_EQ(OIDfindName(table.data(), "name234"), -1);
  expectStack({{"OIDname2const", 307, "Errore interno, tabella degli OID non valida"}}, "damaged");
}

TEST(OidLookup, BerToConst) {
  clearErrors();
  const struct {
    const char* hex;
    int number;
  } cases[] = {
      {"550403", 170},              // 2.5.4.3
      {"2B0E03021D", 1},            // 1.3.14.3.2.29
      {"2A864886F70D010105", 54},   // 1.2.840.113549.1.1.5
      {"551D18", 197},              // 2.5.29.24
      {"608648016503040201", 224},  // 2.16.840.1.101.3.4.2.1
  };
  for (const auto& c : cases) {
    const Bytes content = fromHex(c.hex);
    EXPECT_EQ(OIDber2const(content.data(), static_cast<uint32_t>(content.size())), c.number)
        << c.hex;
  }
  const char* absent[] = {
      "550409",        // 2.5.4.9, not in the registry
      "5504",          // a prefix of entries
      "55040300",      // an entry with one more octet
      "2A864886F70D",  // 1.2.840.113549
      "00",
  };
  for (const char* hex : absent) {
    const Bytes content = fromHex(hex);
    EXPECT_EQ(OIDber2const(content.data(), static_cast<uint32_t>(content.size())), -1) << hex;
  }
  const uint8_t zeros[kOidMaxContent] = {};
  EXPECT_EQ(OIDber2const(zeros, 0), -1);
  EXPECT_EQ(OIDber2const(nullptr, 3), -1);
  EXPECT_TRUE(test::errorStack().empty());
}

// ---- Text to BER ------------------------------------------------------------------------------

const char* const kSmallBufferFmt =
    "Buffer troppo piccolo per contenere la codifica BER dell'OID (%d numeri)";

std::string smallBuffer(int count) {
  char text[128];
  snprintf(text, sizeof text, kSmallBufferFmt, count);
  return text;
}

TEST(OidText, TextToBer) {
  const struct {
    std::string text;
    const char* hex;
  } cases[] = {
      {"1.2.840.113549", "2A864886F70D"},
      {"1 2 840-113549", "2A864886F70D"},
      {" 1..2--840  113549. ", "2A864886F70D"},
      {"2.5.4.3", "550403"},
      {"1", "28"},
      {"0", "00"},
      {"0.39", "27"},
      {"2.175", "FF"},
      {"2.176", "00"},  // 80 + 176 wraps in eight bits
      {"2.300", "7C"},  // 80 + 300 = 380, cut to 124
      {"7.0", "18"},    // 7 * 40 = 280, cut to 24
      {"1.2.127", "2A7F"},
      {"1.2.128", "2A8100"},
      {"1.2.16383", "2AFF7F"},
      {"1.2.16384", "2A818000"},
      {"1.2.2147483647", "2A87FFFFFF7F"},
      {"1.2.x.5", "2A0005"},  // a token that is no number leaves its arc as it was
      {"1.2.+5", "2A05"},
      {"1.2.5abc", "2A05"},
      {"1.2.\t7", "2A07"},
  };
  for (const auto& c : cases) {
    clearErrors();
    std::vector<uint8_t> buffer(kOidMaxContent + kGuardBytes, kGuard);
    const int length = OIDstr2ber(buffer.data(), kOidMaxContent, c.text.c_str());
    ASSERT_GT(length, 0) << c.text;
    EXPECT_EQ(toHex(buffer.data(), static_cast<size_t>(length)), c.hex) << c.text;
    EXPECT_TRUE(guardIntact(buffer, static_cast<size_t>(length))) << c.text;
    EXPECT_TRUE(test::errorStack().empty()) << c.text;
  }
}

TEST(OidText, TextErrors) {
  std::string arcs32 = "1.2";
  for (int i = 2; i < 32; ++i) arcs32 += "." + std::to_string(i);
  const std::string delimiters(2000, '.');
  const struct {
    std::string text;
    const char* function;
    uint32_t code;
    std::string message;
  } cases[] = {
      {"", "OIDstr2ints", 307, "Formato stringa OID ('') non riconosciuto"},
      {" .-. ", "OIDstr2ints", 307, "Formato stringa OID (' .-. ') non riconosciuto"},
      {delimiters, "OIDstr2ints", 307,
       "Formato stringa OID ('" + std::string(1023, '.') + "') non riconosciuto"},
      {"1.2.2147483648", "OIDstr2ints", 307, "Valore negativo -2147483648 non consentito"},
      {"1.2.4294967295", "OIDstr2ints", 307, "Valore negativo -1 non consentito"},
      {"1.2.4294967296", "OIDstr2ints", 307,
       "Formato stringa OID ('1.2.4294967296') non riconosciuto"},
      {"1.99999999999999999999999", "OIDstr2ints", 307,
       "Formato stringa OID ('1.99999999999999999999999') non riconosciuto"},
      {arcs32 + ".32", "OIDstr2ints", 307, "OID composto da troppi valori"},
      {arcs32 + ".x", "OIDstr2ints", 307, "OID composto da troppi valori"},
  };
  for (const auto& c : cases) {
    clearErrors();
    std::vector<uint8_t> buffer(256 + kGuardBytes, kGuard);
    EXPECT_EQ(OIDstr2ber(buffer.data(), 256, c.text.c_str()), -1) << c.text;
    expectStack({{c.function, c.code, c.message}, {"OIDstr2ber", 301, "Esecuzione fallita"}},
                c.text);
  }
  // 32 arcs are the most the text conversion holds.
  uint8_t content[64];
  clearErrors();
  EXPECT_EQ(OIDstr2ber(content, sizeof content, arcs32.c_str()), 31);
  EXPECT_TRUE(test::errorStack().empty());
  EXPECT_EQ(OIDstr2ber(content, sizeof content, nullptr), -1);
  expectStack({{"OIDstr2ints", 2, "text (3)"}, {"OIDstr2ber", 301, "Esecuzione fallita"}}, "null");
}

TEST(OidText, TextIsCutAfter1023Characters) {
  const struct {
    size_t spaces;
    std::vector<int32_t> arcs;
  } cases[] = {
      {1018, {1, 2, 34}},  // "34" ends at character 1023
      {1019, {1, 2, 3}},   // the "4" is the 1024th character
      {1020, {1, 2}},
  };
  for (const auto& c : cases) {
    const std::string text = "1.2" + std::string(c.spaces, ' ') + "34";
    std::vector<int32_t> arcs(4, 0x5A5A5A5A);
    clearErrors();
    ASSERT_EQ(OIDstr2ints(arcs.data(), 4, text.c_str()), static_cast<int>(c.arcs.size()))
        << c.spaces;
    EXPECT_EQ(std::vector<int32_t>(arcs.begin(), arcs.begin() + c.arcs.size()), c.arcs) << c.spaces;
    EXPECT_EQ(arcs[c.arcs.size()], 0x5A5A5A5A) << c.spaces;
  }
}

TEST(OidText, TextToArcsLimit) {
  const char* const kTooMany = "OID composto da troppi valori";
  const struct {
    const char* text;
    int max;
    int result;
    std::vector<int32_t> arcs;  // the array afterwards, prefilled with 7
    const char* message;        // of a refusal
  } cases[] = {
      {"1.2.3", 3, 3, {1, 2, 3, 7}, nullptr},
      {"1.2.3", 4, 3, {1, 2, 3, 7}, nullptr},
      {"1.x.3", 3, 3, {1, 7, 3, 7}, nullptr},
      {"1.2.3", 2, -1, {1, 2, 7, 7}, kTooMany},
      {"1", 0, -1, {7, 7, 7, 7}, kTooMany},
      {"1", -1, -1, {7, 7, 7, 7}, kTooMany},
      {"1.2.3000000000", 4, -1, {1, 2, 7, 7}, "Valore negativo -1294967296 non consentito"},
  };
  for (const auto& c : cases) {
    std::vector<int32_t> arcs(4, 7);
    clearErrors();
    EXPECT_EQ(OIDstr2ints(arcs.data(), c.max, c.text), c.result) << c.text << "/" << c.max;
    EXPECT_EQ(arcs, c.arcs) << c.text << "/" << c.max;
    if (c.message != nullptr) {
      expectStack({{"OIDstr2ints", 307, c.message}}, c.text);
    } else {
      EXPECT_TRUE(test::errorStack().empty()) << c.text;
    }
  }
  clearErrors();
  EXPECT_EQ(OIDstr2ints(nullptr, 4, "1.2"), -1);
  expectStack({{"OIDstr2ints", 2, "arcs (1)"}}, "null arcs");
}

// ---- Arcs to BER -------------------------------------------------------------------------------

TEST(OidArcs, ArcsToBer) {
  const struct {
    std::vector<int32_t> arcs;
    const char* hex;
  } cases[] = {
      {{1}, "28"},
      {{2}, "50"},
      {{2, 5}, "55"},
      {{2, 300}, "7C"},
      {{2, -1}, "4F"},  // 80 + 255 in eight bits
      {{3, 0}, "78"},
      {{1, 2, 0}, "2A00"},
      {{1, 2, 840, 113549}, "2A864886F70D"},
      {{1, 2, -1}, "2A8FFFFFFF7F"},  // 2^32 - 1 in five octets
      {{1, 2, INT32_MIN}, "2A8880808000"},
      {{0, 4, 0, 1862, 1, 1}, "04008E460101"},
  };
  for (const auto& c : cases) {
    clearErrors();
    std::vector<uint8_t> buffer(64 + kGuardBytes, kGuard);
    const int count = static_cast<int>(c.arcs.size());
    const int length = OIDints2ber(buffer.data(), 64, c.arcs.data(), count);
    ASSERT_GT(length, 0) << c.hex;
    EXPECT_EQ(toHex(buffer.data(), static_cast<size_t>(length)), c.hex);
    EXPECT_TRUE(guardIntact(buffer, static_cast<size_t>(length))) << c.hex;
    EXPECT_TRUE(test::errorStack().empty()) << c.hex;
  }
}

TEST(OidArcs, ArcsToBerErrors) {
  const int32_t arcs[] = {1, 2, 840};
  uint8_t content[8];
  const struct {
    const char* what;
    uint8_t* content;
    size_t size;
    const int32_t* arcs;
    int count;
    uint32_t code;
    std::string message;
  } cases[] = {
      {"no arcs", content, 8, arcs, 0, 307, "Un OID deve essere composto almeno da un numero"},
      {"negative count", content, 8, arcs, -3, 307,
       "Un OID deve essere composto almeno da un numero"},
      {"empty buffer", content, 0, arcs, 1, 2, smallBuffer(1)},
      {"null arcs", content, 8, nullptr, 2, 2, "arcs (3)"},
      {"null content", nullptr, 8, arcs, 3, 2, "content (1)"},
  };
  for (const auto& c : cases) {
    clearErrors();
    EXPECT_EQ(OIDints2ber(c.content, c.size, c.arcs, c.count), -1) << c.what;
    expectStack({{"OIDints2ber", c.code, c.message}}, c.what);
  }
}

TEST(OidArcs, BufferTooSmallAtEachPosition) {
  const std::vector<int32_t> oids[] = {
      {1, 2, 840, 113549},
      {1, 2, -1},
      {1, 3, 6, 1, 4, 1, 311, 20, 2, 2},
      {2, 16, 840, 1, 101, 3, 4, 2, 1},
  };
  for (const auto& arcs : oids) {
    const int count = static_cast<int>(arcs.size());
    uint8_t full[64];
    const int needed = OIDints2ber(full, sizeof full, arcs.data(), count);
    ASSERT_GT(needed, 0);
    for (int size = 0; size <= needed; ++size) {
      clearErrors();
      std::vector<uint8_t> buffer(static_cast<size_t>(size) + kGuardBytes, kGuard);
      const int result = OIDints2ber(buffer.data(), static_cast<size_t>(size), arcs.data(), count);
      EXPECT_TRUE(guardIntact(buffer, static_cast<size_t>(size))) << dotted(arcs) << "/" << size;
      if (size == needed) {
        EXPECT_EQ(result, needed);
        EXPECT_EQ(memcmp(buffer.data(), full, static_cast<size_t>(needed)), 0);
        continue;
      }
      EXPECT_EQ(result, -1) << dotted(arcs) << "/" << size;
      expectStack({{"OIDints2ber", 2, smallBuffer(count)}}, dotted(arcs));
    }
  }
  // Through the text conversion the caller's frame follows.
  clearErrors();
  uint8_t content[5];
  EXPECT_EQ(OIDstr2ber(content, sizeof content, "1.2.840.113549"), -1);
  expectStack({{"OIDints2ber", 2, smallBuffer(4)}, {"OIDstr2ber", 301, "Esecuzione fallita"}},
              "text");
}

// ---- BER to arcs and text ----------------------------------------------------------------------

const struct {
  const char* hex;
  std::vector<int32_t> arcs;
  const char* text;
} kBerCases[] = {
    {"2A", {1, 2}, "1.2"},
    {"78", {2, 40}, "2.40"},
    {"00", {0, 0}, "0.0"},
    {"27", {0, 39}, "0.39"},
    {"28", {1, 0}, "1.0"},
    {"4F", {1, 39}, "1.39"},
    {"50", {2, 0}, "2.0"},
    {"88", {2, 56}, "2.56"},  // the first octet is no base-128 group
    {"FF", {2, 175}, "2.175"},
    {"2A864886F70D", {1, 2, 840, 113549}, "1.2.840.113549"},
    {"2A8FFFFFFF7F", {1, 2, -1}, "1.2.-1"},
    {"2A87FFFFFF7F", {1, 2, INT32_MAX}, "1.2.2147483647"},
    {"2A9080808000", {1, 2, 0}, "1.2.0"},  // bits above 32 are lost
    {"2A8001", {1, 2, 1}, "1.2.1"},
    {"2A0000", {1, 2, 0, 0}, "1.2.0.0"},
};

TEST(OidBer, BerToArcsAndText) {
  for (const auto& c : kBerCases) {
    const Bytes content = fromHex(c.hex);
    const uint32_t length = static_cast<uint32_t>(content.size());
    clearErrors();
    std::vector<int32_t> arcs(c.arcs.size() + 2, 0x5A5A5A5A);
    ASSERT_EQ(OIDber2ints(arcs.data(), 0, content.data(), length), static_cast<int>(c.arcs.size()))
        << c.hex;
    EXPECT_EQ(std::vector<int32_t>(arcs.begin(), arcs.begin() + c.arcs.size()), c.arcs) << c.hex;
    EXPECT_EQ(arcs[c.arcs.size()], 0x5A5A5A5A) << c.hex;
    EXPECT_EQ(OIDberArcCount(content.data(), length), static_cast<int>(c.arcs.size())) << c.hex;

    char text[64];
    EXPECT_EQ(OIDber2str(text, sizeof text, content.data(), length),
              static_cast<int>(strlen(c.text)) + 1);
    EXPECT_STREQ(text, c.text);
    EXPECT_TRUE(test::errorStack().empty()) << c.hex;
  }
}

TEST(OidBer, MalformedBer) {
  const char* cases[] = {"", "2A86", "2A7F80", "2AFFFFFFFF", "2A864886"};
  for (const char* hex : cases) {
    const Bytes content = fromHex(hex);
    const uint32_t length = static_cast<uint32_t>(content.size());
    int32_t arcs[8];
    clearErrors();
    EXPECT_EQ(OIDber2ints(arcs, 8, content.data(), length), -1) << hex;
    expectStack({{"OIDber2ints", 307, "Codifica BER non corretta"}}, hex);

    char text[16] = "previous";
    clearErrors();
    EXPECT_EQ(OIDber2str(text, sizeof text, content.data(), length), -1) << hex;
    EXPECT_STREQ(text, "") << hex;
    expectStack({{"OIDber2ints", 307, "Codifica BER non corretta"},
                 {"OIDber2str", 301, "Esecuzione fallita"}},
                hex);
  }
  clearErrors();
  int32_t arcs[4];
  EXPECT_EQ(OIDber2ints(arcs, 4, nullptr, 3), -1);
  expectStack({{"OIDber2ints", 2, "content (3)"}}, "null content");
}

TEST(OidBer, TextHoldsAtMost32Arcs) {
  std::string hex32 = "2A", text32 = "1.2";
  for (int i = 2; i < 32; ++i) {
    hex32 += "01";
    text32 += ".1";
  }
  const Bytes content32 = fromHex(hex32);
  char text[128];
  clearErrors();
  EXPECT_EQ(OIDber2str(text, sizeof text, content32.data(), 31),
            static_cast<int>(text32.size()) + 1);
  EXPECT_EQ(text, text32);

  const Bytes content33 = fromHex(hex32 + "01");
  EXPECT_EQ(OIDber2str(text, sizeof text, content33.data(), 32), -1);
  EXPECT_STREQ(text, "");
  expectStack({{"OIDber2str", 307, "OID composto da troppi valori"}}, "33 arcs");
}

// Text results are cut at every size and always report the full length.
TEST(OidBer, TextCutAtEachSize) {
  const Bytes content = fromHex("2A864886F70D");
  const int32_t arcs[] = {1, 2, 840, 113549};
  const std::string full = "1.2.840.113549";
  for (size_t size = 0; size <= full.size() + 2; ++size) {
    for (int viaArcs = 0; viaArcs < 2; ++viaArcs) {
      std::vector<uint8_t> buffer(size + kGuardBytes, kGuard);
      char* text = reinterpret_cast<char*>(buffer.data());
      const int result =
          viaArcs ? OIDints2str(text, size, arcs, 4) : OIDber2str(text, size, content.data(), 6);
      EXPECT_EQ(result, static_cast<int>(full.size()) + 1) << size;
      if (size > 0) {
        EXPECT_EQ(std::string(text), full.substr(0, size - 1)) << size;
      }
      EXPECT_TRUE(guardIntact(buffer, size)) << size << "/" << viaArcs;
    }
  }
  EXPECT_EQ(OIDber2str(nullptr, 0, content.data(), 6), static_cast<int>(full.size()) + 1);
}

TEST(OidArcs, ArcsToText) {
  const struct {
    std::vector<int32_t> arcs;
    const char* text;
  } cases[] = {
      {{}, ""},
      {{0}, "0"},
      {{-5}, "-5"},
      {{1, 2, 840}, "1.2.840"},
      {{INT32_MIN, INT32_MAX}, "-2147483648.2147483647"},
  };
  for (const auto& c : cases) {
    char text[64] = "previous";
    EXPECT_EQ(OIDints2str(text, sizeof text, c.arcs.data(), static_cast<int>(c.arcs.size())),
              static_cast<int>(strlen(c.text)) + 1);
    EXPECT_STREQ(text, c.text);
  }
  clearErrors();
  char text[8];
  EXPECT_EQ(OIDints2str(text, sizeof text, nullptr, 2), -1);
  expectStack({{"OIDints2str", 2, "arcs (3)"}}, "null arcs");
}

// ---- Round trips -------------------------------------------------------------------------------

// Random OIDs whose first octet stays below 128, so that every encoding is
// the standard one: our encoder against OpenSSL's, and decoding back.
TEST(OidRoundTrip, RandomOidsAgreeWithOpenSsl) {
  std::mt19937 random(20120118);
  for (int round = 0; round < 500; ++round) {
    const int32_t top = static_cast<int32_t>(random() % 3);
    std::vector<int32_t> arcs = {top, static_cast<int32_t>(random() % (top == 2 ? 48 : 40))};
    const int count = 2 + static_cast<int>(random() % 31);
    std::string text = dotted(arcs);
    while (static_cast<int>(arcs.size()) < count) {
      const uint32_t bits = 1 + static_cast<uint32_t>(random() % 32);
      const uint32_t arc = static_cast<uint32_t>(random()) >> (32 - bits);
      arcs.push_back(static_cast<int32_t>(arc));
      text += "." + std::to_string(arc);
    }
    const Bytes expected = opensslContent(text);
    ASSERT_FALSE(expected.empty()) << text;

    uint8_t content[256];
    const int length = OIDints2ber(content, sizeof content, arcs.data(), count);
    ASSERT_GT(length, 0) << text;
    EXPECT_EQ(toHex(content, static_cast<size_t>(length)), toHex(expected)) << text;

    std::vector<int32_t> back(static_cast<size_t>(count));
    ASSERT_EQ(OIDber2ints(back.data(), 0, content, static_cast<uint32_t>(length)), count) << text;
    EXPECT_EQ(back, arcs) << text;

    const bool fitsText = std::all_of(arcs.begin(), arcs.end(), [](int32_t a) { return a >= 0; });
    if (!fitsText) continue;
    char printed[512];
    OIDber2str(printed, sizeof printed, content, static_cast<uint32_t>(length));
    EXPECT_EQ(printed, text);
    uint8_t fromText[256];
    ASSERT_EQ(OIDstr2ber(fromText, sizeof fromText, text.c_str()), length) << text;
    EXPECT_EQ(memcmp(fromText, content, static_cast<size_t>(length)), 0) << text;
  }
}

}  // namespace
}  // namespace sigillo
