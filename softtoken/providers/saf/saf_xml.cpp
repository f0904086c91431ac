#include "provider_abi/velm_client_saf.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/providers/saf/xml_signature.h"

using namespace velm::protocol;
using namespace velm::token;

uint32_t SAF_Ext_XMLVerify(void*, uint32_t, const uint8_t* xml, uint32_t xml_length) {
  return saf_call([&] { verify_xml_signature(required_bytes(xml, xml_length)); });
}

// Sic: the incoming lengths are ignored. Each buffer must have the size that a call without buffers returned.
uint32_t SAF_Ext_XMLParse(void*, uint32_t, const uint8_t* xml, uint32_t xml_length, uint8_t* item1,
                          uint32_t* item1_length, uint8_t* item2, uint32_t* item2_length, uint8_t* item3,
                          uint32_t* item3_length, uint8_t* item4, uint32_t* item4_length, uint8_t* item5,
                          uint32_t* item5_length, uint8_t* item6, uint32_t* item6_length) {
  return saf_call([&] {
    const struct {
      uint8_t* bytes;
      uint32_t* length;
    } outputs[] = {{item1, item1_length}, {item2, item2_length}, {item3, item3_length},
                   {item4, item4_length}, {item5, item5_length}, {item6, item6_length}};
    for (const auto& output : outputs) require_saf(output.length != nullptr, kSafBadInput);

    const XmlSignatureItems items = read_xml_signature(required_bytes(xml, xml_length));
    const ByteView results[] = {items.original,
                                items.digest,
                                items.signature,
                                items.certificate,
                                as_bytes(items.digest_algorithm),
                                as_bytes(items.signature_algorithm)};
    for (size_t i = 0; i < std::size(results); ++i) {
      *outputs[i].length = static_cast<uint32_t>(results[i].size());
      deliver(results[i], outputs[i].bytes, outputs[i].length);
    }
  });
}
