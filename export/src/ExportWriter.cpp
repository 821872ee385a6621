#include "tovanel/chat/export/ExportWriter.hpp"

#include "tovanel/chat/export/Envelope.hpp"

namespace tovanel::chat::exports {

ExportWriter::ExportWriter(std::ostream& out, ExportFormat format)
    : out_(out), format_(format), encoder_(makeEnvelopeEncoder()) {}

ExportWriter::~ExportWriter() { finish(); }

void ExportWriter::add(std::string_view envelopeJson) {
  if (format_ == ExportFormat::array) out_ << (first_ ? "[\n" : ",\n");
  first_ = false;
  out_ << envelopeJson;
  if (format_ == ExportFormat::lines) out_ << '\n';
}

void ExportWriter::add(const ChatMessage& message) {
  text_.clear();
  encoder_.encode(EnvelopeOut{message}, text_);
  add(text_);
}

void ExportWriter::finish() {
  if (finished_) return;
  finished_ = true;
  if (format_ == ExportFormat::array) out_ << (first_ ? "[]\n" : "\n]\n");
}

}  // namespace tovanel::chat::exports
