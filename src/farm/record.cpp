#include "farm/record.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "core/error.h"
#include "media/file_util.h"
#include "media/image_io.h"

namespace tessfx::farm {
namespace {

namespace fs = std::filesystem;

nlohmann::json ToJson(const FarmRecord& r) {
  nlohmann::json jobs = nlohmann::json::array();
  for (const FarmRecord::Job& j : r.jobs) jobs.push_back({{"id", j.id}, {"chunks", j.chunks}});
  nlohmann::json chunks = nlohmann::json::array();
  for (const Chunk& c : r.chunks) chunks.push_back(c.numbers);
  return {{"jobs", jobs},
          {"input", r.input},
          {"output", r.output},
          {"file_number_offset", r.file_number_offset},
          {"chunks", chunks},
          {"script", r.script},
          {"log_folder", r.log_folder}};
}

FarmRecord FromJson(const nlohmann::json& j) {
  FarmRecord r;
  for (const auto& job : j.at("jobs"))
    r.jobs.push_back({job.at("id").get<std::string>(), job.at("chunks").get<std::vector<int32_t>>()});
  r.input = j.at("input").get<std::string>();
  r.output = j.at("output").get<std::string>();
  r.file_number_offset = j.at("file_number_offset").get<int64_t>();
  for (const auto& c : j.at("chunks")) {
    Chunk chunk;
    chunk.numbers = c.get<std::vector<int64_t>>();
    if (chunk.numbers.empty()) throw std::runtime_error("empty chunk");
    chunk.frames = FrameRangeText(chunk.numbers);
    r.chunks.push_back(std::move(chunk));
  }
  r.script = j.at("script").get<std::string>();
  r.log_folder = j.at("log_folder").get<std::string>();
  if (r.jobs.empty() || !ParseSequencePattern(r.output)) throw std::runtime_error("no job or no output pattern");
  for (const auto& job : r.jobs)
    for (int32_t c : job.chunks)
      if (c < 0 || static_cast<size_t>(c) >= r.chunks.size())
        throw std::runtime_error("a job names a chunk not listed");
  return r;
}

std::optional<FarmRecord> ReadFile(const std::string& path) {
  std::ifstream in(path);
  if (!in) return std::nullopt;
  try {
    return FromJson(nlohmann::json::parse(in));
  } catch (const std::exception& e) {
    Fail(ErrorKind::BadData, path + " is damaged (" + e.what() + "); its farm render cannot be followed");
  }
}

bool Holds(const FarmRecord& r, const std::string& job) {
  return std::any_of(r.jobs.begin(), r.jobs.end(), [&](const FarmRecord::Job& j) { return j.id == job; });
}

// Every record in the farm folder, newest first.
std::vector<std::string> RecordFiles() {
  std::vector<std::pair<fs::file_time_type, std::string>> files;
  std::error_code ec;
  for (const auto& e : fs::directory_iterator(FarmFolder(), ec))
    if (e.is_regular_file(ec) && e.path().extension() == ".json")
      files.emplace_back(e.last_write_time(ec), e.path().string());
  std::sort(files.rbegin(), files.rend());
  std::vector<std::string> paths;
  for (auto& f : files) paths.push_back(std::move(f.second));
  return paths;
}

}  // namespace

int64_t FarmRecord::FrameCount() const {
  int64_t n = 0;
  for (const Chunk& c : chunks) n += static_cast<int64_t>(c.numbers.size());
  return n;
}

std::string FarmRecord::FileOf(int64_t number) const {
  return ParseSequencePattern(output)->FileName(number + file_number_offset);
}

const FarmRecord::Job* FarmRecord::LatestJobOf(int32_t chunk) const {
  for (auto j = jobs.rbegin(); j != jobs.rend(); ++j)
    if (std::find(j->chunks.begin(), j->chunks.end(), chunk) != j->chunks.end()) return &*j;
  return nullptr;
}

std::string FarmFolder() {
  if (const char* d = std::getenv("TESSFX_FARM_DIR"); d && *d) return d;
  if (const char* d = std::getenv("XDG_STATE_HOME"); d && *d == '/') return std::string(d) + "/tessfx/farm";
  const char* home = std::getenv("HOME");
  return std::string(home && *home ? home : "/tmp") + "/.local/state/tessfx/farm";
}

std::string RecordPath(const std::string& first_job) { return JoinPath(FarmFolder(), first_job + ".json"); }
std::string ScriptPath(const std::string& first_job) { return JoinPath(FarmFolder(), first_job + ".sh"); }

void WriteRecord(const FarmRecord& record) {
  std::error_code ec;
  fs::create_directories(FarmFolder(), ec);
  if (ec) Fail(ErrorKind::CantCreate, "cannot create the farm folder " + FarmFolder() + ": " + ec.message());
  AtomicOutputFile out(RecordPath(record.jobs.front().id));
  const std::string text = ToJson(record).dump(1) + "\n";
  out.Append(text.data(), text.size());
  out.Commit();
}

FarmRecord ReadRecordOfJob(const std::string& job) {
  if (job.empty() || job.find_first_not_of("0123456789") != std::string::npos)
    Fail(ErrorKind::Usage, "\"" + job + "\" is not a job id (the number farm submit printed)");
  if (auto r = ReadFile(RecordPath(job)); r && Holds(*r, job)) return *r;
  for (const std::string& path : RecordFiles())
    if (auto r = ReadFile(path); r && Holds(*r, job)) return *r;
  Fail(ErrorKind::NoInput,
       "no farm render submitted from here has job " + job + " (records are in " + FarmFolder() + ")");
}

// A pattern as one text whatever way it was written ("out.####.png", "./out.%04d.png").
std::string PatternKey(const std::string& pattern) {
  const auto p = ParseSequencePattern(pattern);
  if (!p) return pattern;
  std::error_code ec;
  return fs::absolute(p->prefix, ec).lexically_normal().string() + "\n" + std::to_string(p->digits) + "\n" + p->suffix;
}

std::optional<FarmRecord> FindRecordOfOutput(const std::string& pattern) {
  const std::string wanted = PatternKey(pattern);
  for (const std::string& path : RecordFiles()) {
    std::optional<FarmRecord> r;
    try {
      r = ReadFile(path);
    } catch (const Error&) {
      continue;  // another render's damaged record does not stop this one
    }
    if (r && PatternKey(r->output) == wanted) return r;
  }
  return std::nullopt;
}

}  // namespace tessfx::farm
