#include <cstdio>

#include "softtoken/crypto/certificate.h"
#include "softtoken/service/commands.h"
#include "softtoken/store/demo.h"

namespace velm::token {

void init_store(const std::filesystem::path& file, bool demo) {
  Token token(file, Store::New());
  token.store().make([&] {
    if (demo) add_demo_containers(token);
  });
}

void add_container(const std::filesystem::path& file, const std::string& name, const std::string& type,
                   const Pin& pin) {
  ContainerOrder order{.name = name};
  if (type != "sm2") {
    order.kind = KeyKind::rsa;
    order.rsa_bits = type == "rsa1024" ? 1024 : 2048;
  }
  Token token(file);
  token.add_container(order, pin);
}

void list_containers(const std::filesystem::path& file) {
  Token token(file);
  for (const ContainerRow& row : token.store().containers()) {
    const Certificate certificate = parse_certificate(row.signing_certificate);
    const Key key = key_of(certificate.get());
    const std::string kind =
        kind_of(key.get()) == KeyKind::sm2 ? "SM2" : "RSA-" + std::to_string(bits_of(key.get()));
    std::printf("%-10s %2u PIN retries  %s  %s\n", kind.c_str(), static_cast<unsigned>(row.pin_retries),
                as_text(certificate_item(certificate.get(), kNotAfterItem)).c_str(), row.name.c_str());
  }
}

void delete_container(const std::filesystem::path& file, const ContainerName& name) {
  Token(file).delete_container(name);
}

void unlock_container(const std::filesystem::path& file, const ContainerName& name) {
  Token(file).unlock(name);
}

}  // namespace velm::token
