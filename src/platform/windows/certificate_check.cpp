#include "platform/windows/certificate_check.h"

#include <ws2tcpip.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

#include "platform/windows/wide_text.h"

namespace zelvo::windows_platform {
namespace {

std::string narrow(const wchar_t* text) {
  std::string out;
  for (; *text != 0; ++text) out.push_back(*text < 128 ? static_cast<char>(*text) : '?');
  return out;
}

// "*.example.com" covers "a.example.com", never "example.com" or "a.b.example.com".
bool dnsNameMatches(std::string pattern, const std::string& host) {
  pattern = asciiLowercase(std::move(pattern));
  if (pattern == host) return true;
  if (!pattern.starts_with("*.")) return false;
  const size_t dot = host.find('.');
  return dot != std::string::npos && dot > 0 && host.substr(dot) == pattern.substr(1) &&
         std::count(pattern.begin(), pattern.end(), '.') >= 2;
}

// The address bytes of an IP literal ("127.0.0.1", "::1", "[::1]"); empty for a name.
std::vector<BYTE> addressBytes(std::string host) {
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  in_addr v4{};
  if (InetPtonA(AF_INET, host.c_str(), &v4) == 1) {
    const auto* bytes = reinterpret_cast<const BYTE*>(&v4);
    return {bytes, bytes + sizeof v4};
  }
  in6_addr v6{};
  if (InetPtonA(AF_INET6, host.c_str(), &v6) == 1) {
    const auto* bytes = reinterpret_cast<const BYTE*>(&v6);
    return {bytes, bytes + sizeof v6};
  }
  return {};
}

bool nameMatches(PCCERT_CONTEXT certificate, const std::string& host) {
  const CERT_EXTENSION* extension = CertFindExtension(szOID_SUBJECT_ALT_NAME2, certificate->pCertInfo->cExtension,
                                                      certificate->pCertInfo->rgExtension);
  if (extension == nullptr) return false;
  CERT_ALT_NAME_INFO* names = nullptr;
  DWORD size = 0;
  if (!CryptDecodeObjectEx(X509_ASN_ENCODING, X509_ALTERNATE_NAME, extension->Value.pbData, extension->Value.cbData,
                           CRYPT_DECODE_ALLOC_FLAG, nullptr, &names, &size)) {
    return false;
  }
  const std::vector<BYTE> address = addressBytes(host);
  const std::string name = asciiLowercase(host);
  bool matches = false;
  for (DWORD i = 0; i < names->cAltEntry && !matches; ++i) {
    const CERT_ALT_NAME_ENTRY& entry = names->rgAltEntry[i];
    if (address.empty() && entry.dwAltNameChoice == CERT_ALT_NAME_DNS_NAME) {
      matches = dnsNameMatches(narrow(entry.pwszDNSName), name);
    } else if (!address.empty() && entry.dwAltNameChoice == CERT_ALT_NAME_IP_ADDRESS) {
      matches = entry.IPAddress.cbData == address.size() &&
                std::equal(address.begin(), address.end(), entry.IPAddress.pbData);
    }
  }
  LocalFree(names);
  return matches;
}

bool holds(HCERTSTORE store, PCCERT_CONTEXT certificate) {
  PCCERT_CONTEXT found = CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, certificate, nullptr);
  if (found == nullptr) return false;
  CertFreeCertificateContext(found);
  return true;
}

std::string statusText(DWORD status) {
  struct Flag {
    DWORD bit;
    const char* text;
  };
  static constexpr Flag kFlags[] = {
      {CERT_TRUST_IS_UNTRUSTED_ROOT, "untrusted root"},
      {CERT_TRUST_IS_PARTIAL_CHAIN, "no chain to a trusted root"},
      {CERT_TRUST_IS_NOT_TIME_VALID, "expired or not yet valid"},
      {CERT_TRUST_IS_NOT_SIGNATURE_VALID, "bad signature"},
      {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, "not for server authentication"},
      {CERT_TRUST_IS_REVOKED, "revoked"},
  };
  std::string text;
  for (const Flag& flag : kFlags) {
    if ((status & flag.bit) != 0) text += std::string(text.empty() ? "" : ", ") + flag.text;
  }
  return text.empty() ? "chain error " + std::to_string(status) : text;
}

}  // namespace

struct CertificateCheck::Roots {
  HCERTSTORE store = nullptr;
  HCERTCHAINENGINE engine = nullptr;
  ~Roots() {
    if (engine != nullptr) CertFreeCertificateChainEngine(engine);
    if (store != nullptr) CertCloseStore(store, 0);
  }
};

std::variant<CertificateCheck, std::string> CertificateCheck::fromCaFile(const std::string& caFile) {
  std::ifstream file(caFile, std::ios::binary);
  if (!file) return "cannot read the CA file " + caFile;
  const std::string pem((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  auto roots = std::make_shared<Roots>();
  roots->store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
  if (roots->store == nullptr) return "cannot make a certificate store";
  constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
  constexpr std::string_view kEnd = "-----END CERTIFICATE-----";
  int added = 0;
  for (size_t begin = pem.find(kBegin); begin != std::string::npos; begin = pem.find(kBegin, begin + 1)) {
    const size_t end = pem.find(kEnd, begin);
    if (end == std::string::npos) break;
    const std::string block = pem.substr(begin, end + kEnd.size() - begin);
    DWORD size = 0;
    if (!CryptStringToBinaryA(block.data(), static_cast<DWORD>(block.size()), CRYPT_STRING_BASE64HEADER, nullptr,
                              &size, nullptr, nullptr)) {
      continue;
    }
    std::vector<BYTE> der(size);
    if (CryptStringToBinaryA(block.data(), static_cast<DWORD>(block.size()), CRYPT_STRING_BASE64HEADER, der.data(),
                             &size, nullptr, nullptr) &&
        CertAddEncodedCertificateToStore(roots->store, X509_ASN_ENCODING, der.data(), size,
                                         CERT_STORE_ADD_REPLACE_EXISTING, nullptr)) {
      ++added;
    }
  }
  if (added == 0) return "no certificate in the CA file " + caFile;
  // The size Windows 7 defined: the one Wine accepts, and enough for an exclusive root store.
  CERT_CHAIN_ENGINE_CONFIG config{};
  config.cbSize = offsetof(CERT_CHAIN_ENGINE_CONFIG, dwExclusiveFlags);
  config.hExclusiveRoot = roots->store;
  if (!CertCreateCertificateChainEngine(&config, &roots->engine)) return "cannot make a chain engine for " + caFile;
  CertificateCheck check;
  check.roots_ = std::move(roots);
  return check;
}

std::optional<std::string> CertificateCheck::problemWith(PCCERT_CONTEXT certificate, const std::string& host) const {
  LPSTR serverAuth = const_cast<LPSTR>(szOID_PKIX_KP_SERVER_AUTH);
  CERT_CHAIN_PARA para{};
  para.cbSize = sizeof para;
  para.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
  para.RequestedUsage.Usage.cUsageIdentifier = 1;
  para.RequestedUsage.Usage.rgpszUsageIdentifier = &serverAuth;
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  if (!CertGetCertificateChain(roots_ ? roots_->engine : nullptr, certificate, nullptr, certificate->hCertStore, &para,
                               0, nullptr, &chain)) {
    return std::string("cannot build the certificate chain");
  }
  std::optional<std::string> problem;
  const DWORD status = chain->TrustStatus.dwErrorStatus;
  if (status != CERT_TRUST_NO_ERROR) {
    problem = "certificate not trusted: " + statusText(status);
  } else if (chain->cChain == 0 || chain->rgpChain[0]->cElement == 0) {
    problem = "empty certificate chain";
  } else {
    const CERT_SIMPLE_CHAIN* simple = chain->rgpChain[0];
    const CERT_CHAIN_ELEMENT* root = simple->rgpElement[simple->cElement - 1];
    if ((root->TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED) == 0) {
      problem = std::string("certificate not trusted: the chain does not end at a root");
    } else if (roots_ && !holds(roots_->store, root->pCertContext)) {
      problem = std::string("certificate not trusted: its root is not in the CA file");
    } else if (!nameMatches(certificate, host)) {
      problem = "certificate not valid for " + host;
    }
  }
  CertFreeCertificateChain(chain);
  return problem;
}

}  // namespace zelvo::windows_platform
