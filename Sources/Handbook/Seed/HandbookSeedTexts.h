// The handbook's own articles and FAQ entries: short, factual texts on training and
// nutrition basics that ship with the seed beside the public datasets.
#pragma once

#include <string_view>
#include <vector>

namespace dm {

// Where a seed text is filed.
enum class SeedTextTopic { Training, Nutrition };

struct SeedText {
  SeedTextTopic topic;
  std::string_view title;
  std::vector<std::string_view> paragraphs;  // at least one
  std::string_view warning;                  // empty: none
};

// The articles and FAQ entries (a question as title, its answer as paragraphs), in their
// fixed order; that order fixes their identifiers. Static data, any thread.
const std::vector<SeedText>& seedArticles();
const std::vector<SeedText>& seedFaqs();

}  // namespace dm
