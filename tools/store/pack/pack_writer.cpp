#include "store/pack/pack_writer.h"

namespace store {

Status PackWriter::Create(Place& place, const Keys& keys, const Uid& repository, const Uid& saveset,
                          const Uid& pack, std::unique_ptr<PackWriter>& writer) {
  std::unique_ptr<PackWriter> made(new PackWriter);
  made->pack_ = pack;
  made->tables_.saveset = saveset;
  if (Status ciphers = keys.NewPack(pack, made->ciphers_); !ciphers) {
    return ciphers;
  }
  made->header_ =
      EncodeHeader({ObjectKind::kPack, repository, pack, made->ciphers_.cipher, made->ciphers_.sealedKey});
  if (Status created = place.Create(PackObject(pack), made->object_); !created) {
    return created;
  }
  if (Status written = made->Write(made->header_); !written) {
    return written;
  }
  writer = std::move(made);
  return {};
}

Status PackWriter::Write(std::string_view bytes) {
  size_ += bytes.size();
  return object_->Append(bytes);
}

Status PackWriter::Append(const BlockEntry& entry, std::string_view stored) {
  tables_.blocks.push_back(entry);
  return Write(stored);
}

Status PackWriter::End(std::uint32_t items, std::vector<Uid> refersTo) {
  tables_.items = items;
  tables_.refersTo = std::move(refersTo);
  return Write(EncodeEnd(pack_, header_, size_, tables_));
}

Status PackWriter::Finish() { return object_->Finish(); }

}  // namespace store
