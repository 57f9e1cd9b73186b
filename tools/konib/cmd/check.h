// `konib check`: a model author's lint, and the bytes of a sample job.
#pragma once

#include <string>
#include <vector>

namespace konib::tool {

// One finding about a value text of a model.
struct Finding {
  std::string message;
};

// The problems of one template: escapes that `key` does not have, unbalanced
// `\(` and `\[`, a pattern without its end. `references` receives the
// two-letter names of the escapes that read other values (ls, pp, pb, po, e0
// to e9), for the caller to test against the model.
std::vector<Finding> CheckTemplate(const std::string& key, const std::string& text,
                                   std::vector<std::string>* references);

// The known key nearest to `name`, by edit distance, without regard to case.
std::string NearestKey(const std::string& name);

// Bytes as a template would write them: \n for CR LF, \$HH for other
// control bytes and bytes from 0x7F, \\ for a backslash.
std::string EscapeBytes(const std::string& bytes);

int Check(const std::string& file, const std::string& section);

}  // namespace konib::tool
