// Stored traps on their way from the thread that reads them to the one that shows them: the rows of one batch
// lie in two buffers, which a batch that was emptied keeps.  One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "store/TrapRecord.h"

namespace korvane::traplist {

class TrapBatch {
 public:
  std::size_t Count() const { return rows_.size(); }
  std::size_t TextBytes() const { return texts_.size(); }

  // Copies the stored fields; how the bindings divide is not kept.
  void Append(const store::IncomingTrap& trap);
  // Fills the stored fields; the views hold until the batch changes.
  void Get(std::size_t row, store::IncomingTrap& trap) const;
  void Clear();

 private:
  struct Row {
    std::size_t Texts = 0;  // where its texts begin: source, enterprise OID, bindings, notes
    std::uint32_t SourceLength = 0;
    std::uint32_t EnterpriseOidLength = 0;
    std::uint32_t VarBindsLength = 0;
    std::uint32_t NotesLength = 0;
    std::int32_t SequenceNumber = 0;
    std::int32_t EventTime = 0;
    std::int32_t GenericTrap = 0;
    std::int32_t SpecificTrap = 0;
    std::int32_t EventAck = 0;
  };

  std::vector<Row> rows_;
  std::string texts_;
};

}  // namespace korvane::traplist
