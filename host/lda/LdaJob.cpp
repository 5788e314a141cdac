#include "host/lda/LdaJob.h"

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <vector>

#include "host/base/TbDArray.h"
#include "host/base/TbFileContents.h"
#include "host/base/TbFileIO.h"
#include "host/console/UxMessage.h"
#include "host/dialogs/UxBatchAnswers.h"
#include "host/lda/LdaArrayMetadata.h"
#include "host/lda/LdaConversion.h"
#include "host/lda/LdaConverter.h"
#include "host/lda/LdaFormatSetting.h"
#include "host/lda/LdaJson.h"
#include "host/lda/LdaMetadata.h"
#include "host/lda/LdaSetup.h"
#include "host/lda/LdaStoreFolder.h"

using nlohmann::json;

namespace {

UxMessage& console() { return *UxMessage::getTheMsg(); }

struct Job {
  std::string output, folder;
  LdaInputDescription input;
  bool hasBox = false;
  int tile = 128, border = 0, sampling = 1, version = 5, tasks = 1;
  std::string compressor = "zstd";
};

const char* const kTypeNames[] = {"uint8", "int16", "int32", "float", "double", nullptr, nullptr, "uint16"};

bool typeOf(const std::string& name, TbPrimType& type) {
  for (int code = 0; code < TbPrimType::NUM_CODES; ++code)
    if (kTypeNames[code] && name == kTypeNames[code]) return type = TbPrimType(code), true;
  return false;
}

bool readNumber(const json& job, const char* key, int& out, int least) {
  const json* value = jsonMember(job, key);
  if (!value) return true;
  if (!value->is_number_integer() || value->get<long long>() < least || value->get<long long>() > INT32_MAX) return false;
  out = value->get<int>();
  return true;
}

bool readInput(const json& entry, Job& job, std::string& why) {
  LdaInputDescription& input = job.input;
  const json* files = jsonMember(entry, "files");
  if (!files || !files->is_array() || files->empty()) return why = "input.files is not a list of files", false;
  for (const json& file : *files) {
    if (!file.is_string()) return why = "input.files is not a list of files", false;
    input.files.push_back(file.get<std::string>());
  }
  const std::string kind = jsonText(jsonMember(entry, "kind"));
  input.isRaw = kind == "raw";
  if (!input.isRaw) {
    if (kind != "images") return why = "input.kind is not \"raw\" or \"images\"", false;
    return readNumber(entry, "channel", input.convertMethod, 0) || (why = "input.channel is not an option", false);
  }
  std::vector<long long> dims;
  if (!jsonIntegers(jsonMember(entry, "dims"), 3, 1, INT32_MAX, dims)) return why = "input.dims are not 3 counts", false;
  std::copy(dims.begin(), dims.end(), input.dims);
  if (!typeOf(jsonText(jsonMember(entry, "type")), input.primType))
    return why = "input.type is not uint8, int16, uint16, int32, float or double", false;
  const std::string order = jsonText(jsonMember(entry, "byteOrder"));
  input.littleEndian = order != "big";
  if (!readNumber(entry, "components", input.nDataVar, 1) || !readNumber(entry, "header", input.headerBytes, 0))
    return why = "input.components or input.header is not a count", false;
  return true;
}

bool readJob(const std::string& path, Job& job) {
  json entry;
  std::string why;
  if (readMetadataFile(path, path, entry, why)) {
    job.output = jsonText(jsonMember(entry, "output"));
    job.folder = jsonText(jsonMember(entry, "folder"));
    const json* input = jsonMember(entry, "input");
    std::vector<double> box;
    if (job.output.empty() || job.folder.empty()) why = "it names no output or folder";
    else if (!input || !readInput(*input, job, why)) why = why.empty() ? "it has no input" : why;
    else if (jsonMember(entry, "box") && !(job.hasBox = jsonNumbers(jsonMember(entry, "box"), 6, box))) why = "box is not 6 numbers";
    else if (!readNumber(entry, "tile", job.tile, 1) || !readNumber(entry, "border", job.border, 0) ||
             !readNumber(entry, "sampling", job.sampling, 0) || !readNumber(entry, "tasks", job.tasks, 1))
      why = "tile, border, sampling or tasks is not a count";
    else if (!LdaFormatSetting::parse(jsonText(jsonMember(entry, "omeZarr")).c_str(), job.version) && jsonMember(entry, "omeZarr"))
      why = "omeZarr is not \"0.4\" or \"0.5\"";
    for (size_t a = 0; a < box.size(); ++a) job.input.box[a] = static_cast<float>(box[a]);
    if (jsonMember(entry, "compressor")) job.compressor = jsonText(jsonMember(entry, "compressor"));
  }
  if (why.empty()) return true;
  console().printf("Error: job %s: %s", path.c_str(), why.c_str());
  return false;
}

// The job's input opened and its settings checked; without a box, the volume's sample extent.
bool openSetup(const Job& job, LdaSetup& setup) {
  if (setup.open(job.input, job.output, job.tile, job.border, job.sampling, job.compressor.c_str()) != LDA_DONE)
    return false;
  if (!job.hasBox)
    for (int a = 0; a < 3; ++a) {
      setup.settings.box[2 * a] = 0.0f;
      setup.settings.box[2 * a + 1] = static_cast<float>(setup.source->dims[a] - 1);
    }
  return true;
}

json planJson(const std::vector<LdaColumnPlan>& passes, const LdaLayout& layout) {
  json list = json::array();
  for (const LdaColumnPlan& pass : passes)
    list.push_back({{"first", pass.first}, {"last", pass.last}, {"width", pass.width}, {"height", pass.height},
                    {"columns", pass.columns(layout)}});
  return {{"passes", list}};
}

bool readPlan(const std::string& path, const LdaLayout& layout, std::vector<LdaColumnPlan>& passes) {
  json plan;
  std::string why;
  const json* list = nullptr;
  if (readMetadataFile(path, path, plan, why) && (list = jsonMember(plan, "passes")) && list->is_array())
    for (const json& pass : *list) {
      LdaColumnPlan read{0, 0, 0, 0, true};
      if (!readNumber(pass, "first", read.first, 0) || !readNumber(pass, "last", read.last, 0) ||
          !readNumber(pass, "width", read.width, 1) || !readNumber(pass, "height", read.height, 1) ||
          read.last >= layout.numLevels() || read.first > read.last)
        break;
      passes.push_back(read);
    }
  if (list && !passes.empty() && passes.size() == list->size()) return true;
  console().printf("Error: plan %s: %s", path.c_str(), why.empty() ? "its passes do not fit the store" : why.c_str());
  return false;
}

bool report(LdaOutcome outcome, const std::string& what, const std::string& why) {
  if (outcome == LDA_DONE) return true;
  if (outcome == LDA_CANCELLED) console().printf("Interrupted");
  else if (!why.empty()) console().printf("Error: %s failed: %s", what.c_str(), why.c_str());
  return false;
}

}  // namespace

bool ldaJobPrepare(const std::string& jobFile, const std::string& planFile) {
  Job job;
  LdaSetup setup;
  if (!readJob(jobFile, job) || !openSetup(job, setup)) return false;
  TbFileInfo info;
  if (TbFileIO::current().stat(job.folder.c_str(), &info) == 0) {
    console().printf("Error: job %s: its folder %s exists already", jobFile.c_str(), job.folder.c_str());
    return false;
  }
  const LdaLayout layout = setup.layout(job.version);
  LdaStoreFolder folder(job.output, job.folder);
  std::string why;
  const bool written = folder.create(why) && writeLdaMetadata(folder, layout, setup.settings, why);
  folder.keep();
  if (!written) return report(LDA_FAILED, "preparing " + job.folder, why);
  LdaConversion conversion(layout, setup.settings, folder);
  const std::string text = planJson(conversion.plan(*setup.source, job.tasks), layout).dump(1) + "\n";
  if (writeFileDurably(planFile, text.data(), text.size(), why)) return true;
  return report(LDA_FAILED, "writing " + planFile, why);
}

bool ldaJobColumn(const std::string& jobFile, const std::string& planFile, int pass, int column) {
  Job job;
  LdaSetup setup;
  std::vector<LdaColumnPlan> passes;
  if (!readJob(jobFile, job) || !openSetup(job, setup)) return false;
  const LdaLayout layout = setup.layout(job.version);
  if (!readPlan(planFile, layout, passes)) return false;
  if (pass < 0 || pass >= static_cast<int>(passes.size()) || column < 0 || column >= passes[pass].columns(layout)) {
    console().printf("Error: plan %s has no column %d of pass %d", planFile.c_str(), column, pass);
    return false;
  }
  LdaStoreFolder folder(job.output, job.folder);
  folder.keep();
  LdaConversion conversion(layout, setup.settings, folder);
  std::string why;
  const LdaOutcome outcome = conversion.runColumn(*setup.source, passes, pass, column, why);
  return report(outcome, "column " + std::to_string(column) + " of pass " + std::to_string(pass), why);
}

bool ldaJobCommit(const std::string& jobFile, bool replace) {
  Job job;
  if (!readJob(jobFile, job)) return false;
  TbFileInfo info;
  if (!replace && TbFileIO::current().stat(job.output.c_str(), &info) == 0) {
    console().printf("Error: %s exists already; the new store stays at %s", job.output.c_str(), job.folder.c_str());
    return false;
  }
  LdaStoreFolder folder(job.output, job.folder);
  folder.keep();
  std::string why;
  return report(folder.adoptTree(why) && folder.commit(why) ? LDA_DONE : LDA_FAILED, "committing " + job.output, why);
}

bool ldaJobRun(const std::string& jobFile, bool replace) {
  Job job;
  float box[6];
  {
    LdaSetup probe;  // the box, when the job gives none, is the input's sample extent
    if (!readJob(jobFile, job) || !openSetup(job, probe)) return false;
    std::copy(probe.settings.box, probe.settings.box + 6, box);
  }
  TbDArray<const char*> files;
  for (const std::string& file : job.input.files) files.append(file.c_str());
  TbFileInfo info;
  const bool answer = replace && TbFileIO::current().stat(job.output.c_str(), &info) == 0;
  if (answer) UxBatchAnswers::push(UxBatchAnswers::kindFromName("warning"), {"Yes"});
  const int version = LdaFormatSetting::version();
  LdaFormatSetting::set(job.version);
  setLdaRawComponents(job.input.nDataVar);
  const int result = convertToLdaStore(files, TbFilename(job.output.c_str()),
                                       TbBox3f(box[0], box[1], box[2], box[3], box[4], box[5]),
                                       TbVec3i(job.input.dims[0], job.input.dims[1], job.input.dims[2]),
                                       job.input.primType, job.input.littleEndian, job.input.convertMethod,
                                       job.input.headerBytes, job.input.doubleToFloat, job.input.isRaw, job.tile,
                                       job.border, job.sampling, job.compressor.c_str());
  LdaFormatSetting::set(version);
  return result == 1;
}
