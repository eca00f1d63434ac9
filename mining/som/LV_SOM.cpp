#include "mining/som/LV_SOM.h"

#include <Eigen/Dense>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kTopolType{"sttRectangular"sv, "sttHexagonal"sv};
constexpr std::array kParamModification{"pmtLinear"sv, "pmtBackProportional"sv};
constexpr std::array kInitType{"itRandom"sv, "itSamples"sv, "itEigenVect"sv};
constexpr std::array kNeighborType{"ntBubble"sv, "ntGaussian"sv};

const TLVEnumDescriptor kDescriptors[] = {
    {"TLVSOMTopolType", kTopolType, true, true},
    {"TLVParamModificationType", kParamModification, true, true},
    {"TLVSOMInitType", kInitType, true, true},
    {"TLVSOMNeighborType", kNeighborType, true, true},
};

using TRowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using TColMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor>;
using TInputMap = Eigen::Map<const TColMatrix, 0, Eigen::OuterStride<>>;

// Rows searched at once: one matrix product of the nodes' weights with the rows gives
// all the cross terms of the distances.
constexpr TLVRowIndex kSearchRows = 256;
const double kHexRowStep = std::sqrt(3.0) / 2;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVSOMTopolType) {
  return kDescriptors[0];
}
const TLVEnumDescriptor& DescribeEnum(TLVParamModificationType) {
  return kDescriptors[1];
}
const TLVEnumDescriptor& DescribeEnum(TLVSOMInitType) {
  return kDescriptors[2];
}
const TLVEnumDescriptor& DescribeEnum(TLVSOMNeighborType) {
  return kDescriptors[3];
}

// --- grid ---

bool TLVCustomSOM::CanContinueTeach() const {
  return Trained() && weights_.size() == static_cast<size_t>(NodeCount()) * InputWidth();
}

void TLVCustomSOM::CheckSize(int32_t xDim, int32_t yDim) const {
  if (xDim < 1 || xDim > kMaxDim) RaisePropertyValue("XDim", std::to_string(xDim));
  if (yDim < 1 || yDim > kMaxDim) RaisePropertyValue("YDim", std::to_string(yDim));
  if (int64_t{xDim} * yDim * InputWidth() > kMaxWeights) {
    RaisePropertyValue("InputWidth", std::to_string(InputWidth()));
  }
}

void TLVCustomSOM::SetXDim(int32_t value) {
  if (value == xDim_) return;
  CheckSize(value, yDim_);
  xDim_ = value;
  Reshape();
}

void TLVCustomSOM::SetYDim(int32_t value) {
  if (value == yDim_) return;
  CheckSize(xDim_, value);
  yDim_ = value;
  Reshape();
}

void TLVCustomSOM::SetTopolType(TLVSOMTopolType value) {
  if (value == topolType_) return;
  topolType_ = value;
  Reshape();
}

TLVSOMNode TLVCustomSOM::Node(int32_t index) const {
  TLVSOMNode node;
  node.index = index;
  node.column = index % xDim_;
  node.row = index / xDim_;
  if (weights_.size() == static_cast<size_t>(NodeCount()) * InputWidth()) {
    node.weights = std::span<const double>(weights_).subspan(
        static_cast<size_t>(index) * InputWidth(), static_cast<size_t>(InputWidth()));
  }
  return node;
}

TLVSOMNodes TLVCustomSOM::Nodes() const {
  TLVSOMNodes nodes;
  for (int32_t i = 0; i < NodeCount(); ++i) nodes.push_back(Node(i));
  return nodes;
}

void TLVCustomSOM::NodePosition(int32_t index, double& x, double& y) const {
  const int32_t column = index % xDim_;
  const int32_t row = index / xDim_;
  if (topolType_ == TLVSOMTopolType::sttHexagonal) {
    x = column + (row % 2 == 1 ? 0.5 : 0.0);
    y = row * kHexRowStep;
  } else {
    x = column;
    y = row;
  }
}

double TLVCustomSOM::OffsetDistance(int32_t row, int32_t dc, int32_t dr) const {
  if (topolType_ == TLVSOMTopolType::sttRectangular) return std::hypot(dc, dr);
  auto shift = [](int32_t r) { return ((r % 2) + 2) % 2 == 1 ? 0.5 : 0.0; };
  return std::hypot(dc + shift(row + dr) - shift(row), dr * kHexRowStep);
}

double TLVCustomSOM::GridDistance(int32_t a, int32_t b) const {
  return OffsetDistance(a / xDim_, b % xDim_ - a % xDim_, b / xDim_ - a / xDim_);
}

void TLVCustomSOM::DoInit() {
  CheckSize(xDim_, yDim_);
  Reshape();
}

void TLVCustomSOM::Reshape() {
  weights_.assign(static_cast<size_t>(NodeCount()) * InputWidth(), 0.0);
  hits_.assign(static_cast<size_t>(NodeCount()), 0);
  uMatrix_.assign(static_cast<size_t>(NodeCount()), 0.0);
  quality_ = {};
  SetTrained(false);
}

void TLVCustomSOM::SetWeights(std::vector<double> weights) {
  weights_ = std::move(weights);
  weights_.resize(static_cast<size_t>(NodeCount()) * InputWidth());
  SetTrained(true);
}

std::vector<double> TLVCustomSOM::ComponentPlane(int32_t input) const {
  std::vector<double> plane;
  if (input < 0 || input >= InputWidth()) return plane;
  for (int32_t n = 0; n < NodeCount(); ++n) {
    plane.push_back(weights_[static_cast<size_t>(n) * InputWidth() + input]);
  }
  return plane;
}

// --- search ---

void TLVCustomSOM::FindBestNodes(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, int32_t* nodes,
                                 double* sqDistances, int32_t* second) const {
  const int32_t width = InputWidth();
  const int32_t count = NodeCount();
  const Eigen::Map<const TRowMatrix> w(weights_.data(), count, width);
  const Eigen::VectorXd norms = w.rowwise().squaredNorm();
  TColMatrix cross;
  for (TLVRowIndex at = 0; at < rows; at += kSearchRows) {
    const TLVRowIndex n = std::min(kSearchRows, rows - at);
    const TInputMap x(in + at, n, width, Eigen::OuterStride<>(ldIn));
    // |x - w|^2 = |w|^2 - 2 w.x + |x|^2; the last term is the same for every node.
    cross.noalias() = w * x.transpose();
    for (TLVRowIndex i = 0; i < n; ++i) {
      int32_t best = -1;
      int32_t next = -1;
      if (x.row(i).allFinite()) {
        double bestScore = std::numeric_limits<double>::infinity();
        double nextScore = bestScore;
        const double* column = cross.data() + i * count;
        for (int32_t k = 0; k < count; ++k) {
          const double score = norms[k] - 2 * column[k];
          if (score < bestScore) {
            next = best;
            nextScore = bestScore;
            best = k;
            bestScore = score;
          } else if (score < nextScore) {
            next = k;
            nextScore = score;
          }
        }
      }
      nodes[at + i] = best;
      if (second) second[at + i] = next;
      // The distance itself is taken directly: the expanded form loses digits when
      // the row lies close to its node.
      sqDistances[at + i] = best < 0 ? kNaN : (x.row(i) - w.row(best)).squaredNorm();
    }
  }
}

// --- views' data ---

void TLVCustomSOM::Analyse(const double* rows, TLVRowIndex count) {
  const int32_t width = InputWidth();
  std::vector<int32_t> best(static_cast<size_t>(count));
  std::vector<int32_t> second(static_cast<size_t>(count));
  std::vector<double> sq(static_cast<size_t>(count));
  // Row-major rows are the transposed column-major layout with the width as the
  // leading dimension; searched a slice at a time through a column-major copy.
  std::vector<double> slice;
  for (TLVRowIndex at = 0; at < count; at += kSearchRows) {
    const TLVRowIndex n = std::min(kSearchRows, count - at);
    slice.resize(static_cast<size_t>(n * width));
    for (TLVRowIndex i = 0; i < n; ++i) {
      for (int32_t j = 0; j < width; ++j) slice[j * n + i] = rows[(at + i) * width + j];
    }
    FindBestNodes(slice.data(), n, n, best.data() + at, sq.data() + at, second.data() + at);
  }
  hits_.assign(static_cast<size_t>(NodeCount()), 0);
  quality_ = {};
  int64_t broken = 0;
  for (TLVRowIndex i = 0; i < count; ++i) {
    if (best[i] < 0) continue;
    ++hits_[static_cast<size_t>(best[i])];
    ++quality_.rows;
    quality_.quantizationError += std::sqrt(sq[i]);
    quality_.quantizationErrorSq += sq[i];
    if (second[i] >= 0 && !Adjacent(best[i], second[i])) ++broken;
  }
  if (quality_.rows > 0) {
    const auto n = static_cast<double>(quality_.rows);
    quality_.quantizationError /= n;
    quality_.quantizationErrorSq /= n;
    quality_.topographicError = static_cast<double>(broken) / n;
  }
  // U-matrix: each node's mean weight distance to its grid neighbours, which lie
  // within one row and one column of it.
  uMatrix_.assign(static_cast<size_t>(NodeCount()), 0.0);
  const Eigen::Map<const TRowMatrix> w(weights_.data(), NodeCount(), width);
  for (int32_t node = 0; node < NodeCount(); ++node) {
    const int32_t column = node % xDim_;
    const int32_t row = node / xDim_;
    double sum = 0;
    int32_t neighbours = 0;
    for (int32_t r = std::max(0, row - 1); r <= std::min(yDim_ - 1, row + 1); ++r) {
      for (int32_t c = std::max(0, column - 1); c <= std::min(xDim_ - 1, column + 1); ++c) {
        const int32_t other = r * xDim_ + c;
        if (!Adjacent(node, other)) continue;
        sum += (w.row(node) - w.row(other)).norm();
        ++neighbours;
      }
    }
    uMatrix_[static_cast<size_t>(node)] = neighbours > 0 ? sum / neighbours : 0.0;
  }
}

// --- applying ---

std::vector<TLVAnalyticKernel::TResultColumn> TLVCustomSOM::ResultColumns() const {
  return {{"SOM_NODE", TLVDataType::dtInteger}};
}

void TLVCustomSOM::Compute(const double*, ptrdiff_t, TLVRowIndex, double*, ptrdiff_t) const {
  // A map has no outputs; what it answers is in its result columns.
}

void TLVCustomSOM::ComputeResults(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
                                  ptrdiff_t /*ldOut*/) const {
  std::vector<int32_t> nodes(static_cast<size_t>(rows));
  std::vector<double> sq(static_cast<size_t>(rows));
  FindBestNodes(in, ldIn, rows, nodes.data(), sq.data());
  for (TLVRowIndex i = 0; i < rows; ++i) out[i] = nodes[i] < 0 ? kNaN : nodes[i];
}

// --- persistence ---

void TLVCustomSOM::SaveState(ILVSettingsSection& section) const {
  WriteSetting(section, "XDim", xDim_);
  WriteSetting(section, "YDim", yDim_);
  section.Put("TopolType", ValueName(topolType_));
  if (!Trained()) return;
  ILVSettingsSection& nodes = section.AddSection("Nodes");
  WriteSetting(nodes, "Count", NodeCount());
  for (int32_t n = 0; n < NodeCount(); ++n) {
    const std::span<const double> weights = Node(n).weights;
    nodes.AddItem("Node").Put("Weights",
                              JoinSetting(std::vector<double>(weights.begin(), weights.end())));
  }
  section.Put("Hits", JoinSetting(std::vector<double>(hits_.begin(), hits_.end())));
  ILVSettingsSection& quality = section.AddSection("Quality");
  WriteSetting(quality, "Rows", static_cast<double>(quality_.rows));
  WriteSetting(quality, "QuantizationError", quality_.quantizationError);
  WriteSetting(quality, "QuantizationErrorSq", quality_.quantizationErrorSq);
  WriteSetting(quality, "TopographicError", quality_.topographicError);
}

void TLVCustomSOM::LoadState(const ILVSettingsSection& section) {
  const int32_t xDim = ReadSetting(section, "XDim", 16);
  const int32_t yDim = ReadSetting(section, "YDim", 12);
  const TLVSOMTopolType topol = ReadSetting(section, "TopolType", TLVSOMTopolType::sttHexagonal);
  CheckSize(xDim, yDim);
  xDim_ = xDim;
  yDim_ = yDim;
  topolType_ = topol;
  Reshape();
  const ILVSettingsSection* nodes = section.FindSection("Nodes");
  if (!nodes) return;
  std::vector<double> weights;
  for (const ILVSettingsSection* node : CountedItems(*nodes, "Node")) {
    const std::vector<double> values =
        SplitSetting<double>(node->Get("Weights").value_or(""), "Weights");
    if (values.size() != static_cast<size_t>(InputWidth())) {
      RaisePropertyValue("Weights", node->Get("Weights").value_or(""));
    }
    weights.insert(weights.end(), values.begin(), values.end());
  }
  if (weights.size() != static_cast<size_t>(NodeCount()) * InputWidth()) {
    RaisePropertyValue("Nodes", std::to_string(weights.size() / std::max(1, InputWidth())));
  }
  const std::vector<double> hits = SplitSetting<double>(section.Get("Hits").value_or(""), "Hits");
  if (!hits.empty() && hits.size() != static_cast<size_t>(NodeCount())) {
    RaisePropertyValue("Hits", section.Get("Hits").value_or(""));
  }
  SetWeights(std::move(weights));
  // The U-matrix follows from the weights alone; the rows it needs are none.
  Analyse(nullptr, 0);
  for (size_t n = 0; n < hits.size(); ++n) {
    if (!(hits[n] >= 0 && hits[n] < 9.0e15)) RaisePropertyValue("Hits", std::to_string(hits[n]));
    hits_[n] = static_cast<int64_t>(hits[n]);
  }
  if (const ILVSettingsSection* quality = section.FindSection("Quality")) {
    quality_.rows = static_cast<int64_t>(ReadSetting(*quality, "Rows", 0.0));
    quality_.quantizationError = ReadSetting(*quality, "QuantizationError", 0.0);
    quality_.quantizationErrorSq = ReadSetting(*quality, "QuantizationErrorSq", 0.0);
    quality_.topographicError = ReadSetting(*quality, "TopographicError", 0.0);
  }
}

void RegisterSOMTexts() {
  TLVLocalization& texts = TLVLocalization::Instance();
  for (const TLVEnumDescriptor& descriptor : kDescriptors) {
    texts.RegisterKey(descriptor.CaptionKey());
    for (size_t i = 0; i < descriptor.valueNames.size(); ++i) {
      texts.RegisterKey(descriptor.DisplayTextKey(i));
    }
  }
  texts.RegisterKeys({"SOMXDimCaption", "SOMYDimCaption"});
}

}  // namespace lv
