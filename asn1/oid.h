// OID registry: the object identifiers the library knows by number, and the
// conversions between dotted text, arc arrays and BER content octets.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sigillo {

constexpr int kOidCount = 234;
constexpr size_t kOidMaxContent = 24;

// BER content octets of one OID (no identifier or length octets), zero-filled
// behind the content.
struct OidEntry {
  uint8_t content[kOidMaxContent];
  uint32_t length;
};

extern const OidEntry OIDtable[kOidCount + 1];   // the 235th entry all zero
extern const char* const OIDstr[kOidCount + 1];  // nullptr after entry 233

// Registry numbers, one per row of OIDtable.
enum OidId : int {
  kOidSmartcardLogon = 0,
  kOidSha1WithRSAEncryptionOiw = 1,
  kOidRipemd160 = 2,
  kOidQcCompliance = 3,
  kOidQcLimitValue = 4,
  kOidQcRetentionPeriod = 5,
  kOidQcSSCD = 6,
  kOidDsa = 7,
  kOidDsaWithSha1 = 8,
  kOidFieldType = 9,
  kOidPrimefield = 10,
  kOidChar2field = 11,
  kOidChar2 = 12,
  kOidPrimeCurve = 13,
  kOidPrime192v1 = 14,
  kOidPrime192v2 = 15,
  kOidPrime192v3 = 16,
  kOidPrime239v1 = 17,
  kOidPrime239v2 = 18,
  kOidPrime239v3 = 19,
  kOidPrime256v1 = 20,
  kOidC2pnb163v1 = 21,
  kOidC2pnb163v2 = 22,
  kOidC2pnb163v3 = 23,
  kOidC2tnb191v1 = 24,
  kOidC2tnb191v2 = 25,
  kOidC2tnb191v3 = 26,
  kOidC2pnb208w1 = 27,
  kOidC2tnb239v1 = 28,
  kOidC2tnb239v2 = 29,
  kOidC2tnb239v3 = 30,
  kOidC2pnb272w1 = 31,
  kOidC2tnb359v1 = 32,
  kOidC2pnb368w1 = 33,
  kOidC2tnb431r1 = 34,
  kOidChar2basis = 35,
  kOidOnBasis = 36,
  kOidTpBasis = 37,
  kOidPpBasis = 38,
  kOidGnBasis = 39,
  kOidPublicKeyType = 40,
  kOidEcPublicKey = 41,
  kOidEcdsawithSHA1 = 42,
  kOidEcdsawithRecommended = 43,
  kOidEcdsawithSHA2 = 44,
  kOidEcdsawithSHA224 = 45,
  kOidEcdsawithSHA256 = 46,
  kOidEcdsawithSHA384 = 47,
  kOidEcdsawithSHA512 = 48,
  kOidCast3CBC = 49,
  kOidCast5CBC = 50,
  kOidRsaEncryption = 51,
  kOidMd2WithRSAEncryption = 52,
  kOidMd5WithRSAEncryption = 53,
  kOidSha1WithRSAEncryption = 54,
  kOidSha256WithRSAEncryption = 55,
  kOidSha512WithRSAEncryption = 56,
  kOidEmailAddress = 57,
  kOidChallengePassword = 58,
  kOidData = 59,
  kOidSignedData = 60,
  kOidEnvelopedData = 61,
  kOidSignedAndEnvelopedData = 62,
  kOidDigestedData = 63,
  kOidEncryptedData = 64,
  kOidDataWithAttributes = 65,
  kOidEncryptedPrivateKeyInfo = 66,
  kOidContentType = 67,
  kOidMessageDigest = 68,
  kOidSigningTime = 69,
  kOidCountersignature = 70,
  kOidSMIMECapabilities = 71,
  kOidPreferSignedData = 72,
  kOidCanNotDecryptAny = 73,
  kOidModCms = 74,
  kOidModEss = 75,
  kOidModOid = 76,
  kOidCtReceipt = 77,
  kOidCtAuthData = 78,
  kOidCtPublishCert = 79,
  kOidTimestampedData = 80,
  kOidAaReceiptRequest = 81,
  kOidAaSecurityLabel = 82,
  kOidAaMlExpandHistory = 83,
  kOidAaContentHint = 84,
  kOidAaMsgSigDigest = 85,
  kOidAaEncapContentType = 86,
  kOidAaContentIdentifier = 87,
  kOidAaMacValue = 88,
  kOidAaEquivalentLabels = 89,
  kOidAaContentReference = 90,
  kOidAaEncrypKeyPref = 91,
  kOidSigningCertificate = 92,
  kOidAaSmimeEncrypCerts = 93,
  kOidSignatureTimeStamp = 94,
  kOidSignaturePolicy = 95,
  kOidContentTimeStamp = 96,
  kOidSigningCertificateV2 = 97,
  kOidAlgESDHwith3DES = 98,
  kOidAlgESDHwithRC2 = 99,
  kOidAlg3DESwrap = 100,
  kOidAlgRC2wrap = 101,
  kOidAlgESDH = 102,
  kOidSPuri = 103,
  kOidSPUserNotice = 104,
  kOidPbeWithMD2AndDESCBC = 105,
  kOidPbeWithMD5AndDESCBC = 106,
  kOidPbeWithSHAAnd128BitRC4 = 107,
  kOidPbeWithSHAAnd40BitRC4 = 108,
  kOidPbeWithSHAAnd3KeyTripleDESCBC = 109,
  kOidPbeWithSHAAnd2KeyTripleDESCBC = 110,
  kOidPbeWithSHAAnd128BitRC2CBC = 111,
  kOidPbeWithSHAAnd40BitRC2CBC = 112,
  kOidRc4 = 113,
  kOidUnstructuredName = 114,
  kOidKeyBag = 115,
  kOidPkcs8ShroudedKeyBag = 116,
  kOidCertBag = 117,
  kOidCrlBag = 118,
  kOidSecretBag = 119,
  kOidSafeContentsBag = 120,
  kOidX509Certificate = 121,
  kOidSdsiCertificate = 122,
  kOidX509Crl = 123,
  kOidFriendlyName = 124,
  kOidLocalKeyId = 125,
  kOidHmacWithSHA1 = 126,
  kOidUnstructuredAddress = 127,
  kOidTSTInfo = 128,
  kOidTDTInfo = 129,
  kOidMd2 = 130,
  kOidMd5 = 131,
  kOidHmacWithSHA256 = 132,
  kOidHmacWithSHA512 = 133,
  kOidRc2CBC = 134,
  kOidDesEde3Cbc = 135,
  kOidRc5CBCPad = 136,
  kOidRc5ECB = 137,
  kOidAuthorityInfoAccess = 138,
  kOidBiometricInfo = 139,
  kOidQcStatements = 140,
  kOidSubjectInfoAccess = 141,
  kOidCPSuri = 142,
  kOidUserNotice = 143,
  kOidServerAuth = 144,
  kOidClientAuth = 145,
  kOidCodeSigning = 146,
  kOidEmailProtection = 147,
  kOidTimeStamping = 148,
  kOidOCSPSigning = 149,
  kOidDateOfBirth = 150,
  kOidPlaceOfBirth = 151,
  kOidGender = 152,
  kOidCountryOfCitizenship = 153,
  kOidCountryOfResidence = 154,
  kOidQcStatementsV1 = 155,
  kOidQcStatementsV2 = 156,
  kOidInfoAccessOcsp = 157,
  kOidInfoAccessCaIssuers = 158,
  kOidOcspBasic = 159,
  kOidOcspNonce = 160,
  kOidOcspCRL = 161,
  kOidOcspResponse = 162,
  kOidOcspNoCheck = 163,
  kOidOcspArchiveCutoff = 164,
  kOidOcspServiceLocator = 165,
  kOidDesEcb = 166,
  kOidDesCbc = 167,
  kOidDesEde3Ecb = 168,
  kOidSha1 = 169,
  kOidCommonName = 170,
  kOidSurName = 171,
  kOidSerialNumber = 172,
  kOidCountryName = 173,
  kOidLocalityName = 174,
  kOidStateOrProvinceName = 175,
  kOidOrganizationName = 176,
  kOidOrganizationalUnitName = 177,
  kOidTitle = 178,
  kOidDescription = 179,
  kOidPostalAddress = 180,
  kOidGivenName = 181,
  kOidDnQualifier = 182,
  kOidPseudonym = 183,
  kOidRsa = 184,
  kOidMdc2 = 185,
  kOidAnyPolicy = 186,
  kOidSubjectDirectoryAttributes = 187,
  kOidSubjectKeyIdentifier = 188,
  kOidKeyUsage = 189,
  kOidPrivateKeyUsagePeriod = 190,
  kOidSubjectAltName = 191,
  kOidIssuerAltName = 192,
  kOidBasicConstraints = 193,
  kOidCRLNumber = 194,
  kOidReasonCode = 195,
  kOidHoldInstruction = 196,
  kOidInvalidityDate = 197,
  kOidDeltaCRLIndicator = 198,
  kOidIssuingDistributionPoint = 199,
  kOidCertificateIssuer = 200,
  kOidNameConstraints = 201,
  kOidCRLDistributionPoints = 202,
  kOidCertificatePolicy = 203,
  kOidPolicyMappings = 204,
  kOidAuthorityKeyIdentifier = 205,
  kOidPolicyConstraints = 206,
  kOidExtKeyUsage = 207,
  kOidAnyExtendedKeyUsage = 208,
  kOidFreshestCRL = 209,
  kOidInhibitAnyPolicy = 210,
  kOidExpiredCertsOnCRL = 211,
  kOidAes128ECB = 212,
  kOidAes128CBC = 213,
  kOidAes128OFB = 214,
  kOidAes128CFB = 215,
  kOidAes192ECB = 216,
  kOidAes192CBC = 217,
  kOidAes192OFB = 218,
  kOidAes192CFB = 219,
  kOidAes256ECB = 220,
  kOidAes256CBC = 221,
  kOidAes256OFB = 222,
  kOidAes256CFB = 223,
  kOidSha256 = 224,
  kOidSha512 = 225,
  kOidNsCertType = 226,
  kOidNsBaseUrl = 227,
  kOidNsRevocationUrl = 228,
  kOidNsCARevocationUrl = 229,
  kOidNsRenewalUrl = 230,
  kOidNsPolicyUrl = 231,
  kOidNsSSLServerName = 232,
  kOidNsComment = 233,
};

// 1 for a registry number 0-233, else 0.
int isValidOID(int n);
// Name of entry n, or "UNKNOWN" outside the registry.
const char* getOIDstr(int n);
// Copies the name of entry n, cut to size - 1 characters and terminated; the
// empty text outside the registry. Returns 0.
int OIDconst2name(char* text, size_t size, int n);
// Number of the entry named exactly `name`, or -1.
int OIDname2const(const char* name);
// Number of the first entry with these content octets, or -1.
int OIDber2const(const uint8_t* content, uint32_t length);

// Converters; each returns -1 after recording an error. The text converters
// never write more than `size` bytes, always terminate when size > 0, and
// return the length of the complete dotted text plus one: a result above
// `size` means the text was cut.
int OIDber2str(char* text, size_t size, const uint8_t* content, uint32_t length);
int OIDints2str(char* text, size_t size, const int32_t* arcs, int count);
// Reads at most `max` arcs separated by any of " .-"; returns their number.
int OIDstr2ints(int32_t* arcs, int max, const char* text);
// Returns the number of content octets written.
int OIDints2ber(uint8_t* content, size_t size, const int32_t* arcs, int count);
int OIDstr2ber(uint8_t* content, size_t size, const char* text);
// `arcs` must hold one entry per arc (see OIDberArcCount); the second
// argument is not used.
int OIDber2ints(int32_t* arcs, int unused, const uint8_t* content, uint32_t length);

// Number of arcs that OIDber2ints would store (the first octet holds two),
// or 0 for an empty encoding.
int OIDberArcCount(const uint8_t* content, uint32_t length);

// The name scan behind OIDname2const over any null-terminated name array; a
// match at position kOidCount or beyond means the array is damaged.
int OIDfindName(const char* const* names, const char* name);

}  // namespace sigillo
