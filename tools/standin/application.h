#pragma once

#include <filesystem>
#include <string_view>

#include <nlohmann/json.hpp>

#include "tools/standin/pictures.h"

namespace sorvane::standin {

/// Whether an agent may be enrolled. The agent "test" is the one that helpers accept in testing
/// mode. No other name is safe in a file's name.
bool isAgent(std::string_view agent);

/// Where an agent's manifest lies below the root.
std::filesystem::path manifestPath(const std::filesystem::path& root, std::string_view agent);

/// The application's part of a request: who asks, and what is answered.
class Application {
  public:
    Application(std::filesystem::path root, Pictures pictures);

    /// Throws what reading the agent's manifest throws.
    nlohmann::json answer(const nlohmann::json& request, std::string_view requestID) const;

  private:
    void checkClient(const nlohmann::json& request) const;
    nlohmann::json resolve(const nlohmann::json& request) const;

    std::filesystem::path root_;
    Pictures pictures_;
};

} // namespace sorvane::standin
