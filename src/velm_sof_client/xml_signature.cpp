// Verifies and reads signed XML with the signature provider. Signing XML is not supported.
#include <array>
#include <cstring>

#include "velm_sof_client/provider_call.h"

using namespace velm;

uint32_t SOF_SignDataXML(const char* pszContainerName, const uint8_t* pInData, uint32_t, uint8_t*,
                         uint32_t* pOutDataLen) {
  return exported_call([&] {
    require_pointer(pszContainerName, "pszContainerName");
    require_pointer(pInData, "pInData");
    require_pointer(pOutDataLen, "pOutDataLen");
    return SOR_NOTSUPPORTYETERR;
  });
}

uint32_t SOF_VerifySignedDataXML(const uint8_t* pMessageData, uint32_t uMessageDataLen) {
  return exported_call([&] {
    require_pointer(pMessageData, "pMessageData");
    SI_Initialize();
    check_provider("SAF_Ext_XMLVerify",
                   SAF_Ext_XMLVerify(g_hAppHandle.load(), 0, pMessageData, uMessageDataLen));
  });
}

namespace {

using XmlItems = std::array<ProviderBuffer, 6>;

// Writes the items that have a buffer and reports the size of the others.
void parse(ByteView xml, XmlItems& items) {
  check_provider(
      "SAF_Ext_XMLParse",
      SAF_Ext_XMLParse(g_hAppHandle.load(), 0, xml.data, xml.length, items[0].data(), &items[0].stated_length,
                       items[1].data(), &items[1].stated_length, items[2].data(), &items[2].stated_length,
                       items[3].data(), &items[3].stated_length, items[4].data(), &items[4].stated_length,
                       items[5].data(), &items[5].stated_length));
}

// Allocates a buffer for an item. The length is 0 because the provider ignores the buffer size here.
ProviderBuffer item_buffer(uint32_t sized) {
  const uint64_t size = uint64_t{sized} + 256;
  HeapMemory bytes = heap_memory(size);
  if (!bytes) fail(SOR_MEMORYERR);
  return {std::move(bytes), 0, size};
}

}  // namespace

uint32_t SOF_GetXMLSignatureInfo(const uint8_t* pSignedData, uint32_t uSignedDataLen, uint32_t uInfoType,
                                 uint8_t* pInfo, uint32_t* pInfoLen) {
  return exported_call([&] {
    require_pointer(pSignedData, "pSignedData");
    SI_Initialize();

    const ByteView xml{pSignedData, uSignedDataLen};
    XmlItems items;
    parse(xml, items);
    if (pInfo) {
      for (ProviderBuffer& item : items) item = item_buffer(item.stated_length);
      parse(xml, items);
    }

    if (uInfoType < 1 || uInfoType > items.size()) fail(SOR_NOTSUPPORTYETERR);
    const ProviderBuffer& item = items[uInfoType - 1];
    if (!pInfo) {
      store(pInfoLen, item.stated_length);
      return;
    }
    const ByteView content = item.content();
    std::memcpy(pInfo, content.data, content.length);
    store(pInfoLen, content.length);
  });
}
