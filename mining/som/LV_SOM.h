// The self-organising map ("карта Кохонена"): a grid of XDim x YDim nodes, each with a
// weight vector over the map's normalized inputs, laid out so that neighbouring nodes
// answer to similar rows.
//
// Nodes are numbered row by row: node i lies in column i mod XDim and row i div XDim.
// On a hexagonal grid the odd rows are shifted right by half a cell and rows lie
// sqrt(3)/2 apart, so that each inner node has six neighbours at distance 1; on a
// rectangular grid a node sits at (column, row) and has four neighbours at distance 1.
// The grid distance of two nodes is the Euclidean distance of their positions.
//
// The map has no outputs: applied to rows it answers with each row's best-matching
// node (the node nearest in Euclidean distance; the lowest number on a tie) as the
// result column "SOM_NODE". After training the map keeps what its views draw: the hit
// count of every node, the U-matrix (each node's mean distance to its grid
// neighbours), and the quantization and topographic errors over the training rows.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "mining/teachers/LV_AnalyticKernel.h"

namespace lv {

enum class TLVSOMTopolType : uint8_t { sttRectangular, sttHexagonal };
enum class TLVParamModificationType : uint8_t { pmtLinear, pmtBackProportional };
enum class TLVSOMInitType : uint8_t { itRandom, itSamples, itEigenVect };
enum class TLVSOMNeighborType : uint8_t { ntBubble, ntGaussian };

const TLVEnumDescriptor& DescribeEnum(TLVSOMTopolType);
const TLVEnumDescriptor& DescribeEnum(TLVParamModificationType);
const TLVEnumDescriptor& DescribeEnum(TLVSOMInitType);
const TLVEnumDescriptor& DescribeEnum(TLVSOMNeighborType);

// One node of a map: its number, place on the grid and weights.
struct TLVSOMNode {
  int32_t index = 0;
  int32_t column = 0;
  int32_t row = 0;
  std::span<const double> weights;
};

using TLVSOMNodes = std::vector<TLVSOMNode>;

// The quality of a map over the rows it was trained on.
struct TLVSOMQuality {
  int64_t rows = 0;
  // Mean Euclidean distance of a row to its best-matching node, and the mean of its
  // square.
  double quantizationError = 0;
  double quantizationErrorSq = 0;
  // Share of rows whose best and second-best nodes are not grid neighbours.
  double topographicError = 0;
};

class TLVCustomSOM : public TLVAnalyticKernel {
 public:
  static constexpr std::string_view kKernelName = "TLVCustomSOM";
  // Bounds that keep a map (and a damaged project file) within memory: at most 1000
  // columns and rows, and 2^26 weights in all.
  static constexpr int32_t kMaxDim = 1000;
  static constexpr int64_t kMaxWeights = int64_t{1} << 26;
  std::string_view KernelName() const override { return kKernelName; }
  std::unique_ptr<TLVAnalyticKernel> Clone() const override {
    return std::make_unique<TLVCustomSOM>(*this);
  }

  bool NeedsOutputs() const override { return false; }
  // A trained map may go on learning from where it stopped.
  bool CanContinueTeach() const override;

  // Changing the grid forgets the weights; a size below 1 is refused.
  int32_t GetXDim() const { return xDim_; }
  void SetXDim(int32_t value);
  int32_t GetYDim() const { return yDim_; }
  void SetYDim(int32_t value);
  TLVSOMTopolType GetTopolType() const { return topolType_; }
  void SetTopolType(TLVSOMTopolType value);

  int32_t NodeCount() const { return xDim_ * yDim_; }
  TLVSOMNode Node(int32_t index) const;
  // Every node, in number order (views over the map's weights: valid until the map
  // changes).
  TLVSOMNodes Nodes() const;
  // The node's place in the plane of the grid.
  void NodePosition(int32_t index, double& x, double& y) const;
  double GridDistance(int32_t a, int32_t b) const;
  // The grid distance from a node in row `row` to the node dc columns and dr rows away
  // (on a hexagonal grid it depends on the row's parity, not on the node itself).
  double OffsetDistance(int32_t row, int32_t dc, int32_t dr) const;
  // Whether two distinct nodes are neighbours on the grid.
  bool Adjacent(int32_t a, int32_t b) const { return a != b && GridDistance(a, b) < 1.01; }

  // The weights, node after node (NodeCount() x InputWidth()).
  const std::vector<double>& Weights() const { return weights_; }
  // New weights (of the map's size) make the map trained.
  void SetWeights(std::vector<double> weights);
  // The weight of input j across the nodes: the map's component plane of j.
  std::vector<double> ComponentPlane(int32_t input) const;

  // The best-matching node of each of `rows` rows (in[j * ldIn + i] is input j of row
  // i) and its squared distance; a row with a missing input gets node -1. With
  // `second`, the second-best node too.
  void FindBestNodes(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, int32_t* nodes,
                     double* sqDistances, int32_t* second = nullptr) const;

  // Hits, U-matrix and quality from the training rows (row-major, InputWidth() apart).
  virtual void Analyse(const double* rows, TLVRowIndex count);
  const std::vector<int64_t>& Hits() const { return hits_; }
  const std::vector<double>& UMatrix() const { return uMatrix_; }
  const TLVSOMQuality& Quality() const { return quality_; }

  std::vector<TResultColumn> ResultColumns() const override;
  void Compute(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
               ptrdiff_t ldOut) const override;
  void ComputeResults(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
                      ptrdiff_t ldOut) const override;

 protected:
  void DoInit() override;
  // "XDim", "YDim", "TopolType", then "Nodes" (a "Node" item with "Weights" per node),
  // "Hits", "UMatrix" and "Quality".
  void SaveState(ILVSettingsSection& section) const override;
  void LoadState(const ILVSettingsSection& section) override;
  // The grid changed: the weights and what was measured on them are void.
  void Reshape();
  // Raises "ErrPropertyValue" for a grid out of bounds or too many weights.
  void CheckSize(int32_t xDim, int32_t yDim) const;

 private:
  // The teacher moves the weights in place, a block of rows at a time.
  friend class TLVSOMTeacher;

  int32_t xDim_ = 16;
  int32_t yDim_ = 12;
  TLVSOMTopolType topolType_ = TLVSOMTopolType::sttHexagonal;
  std::vector<double> weights_;
  std::vector<int64_t> hits_;
  std::vector<double> uMatrix_;
  TLVSOMQuality quality_;
};

void RegisterSOMTexts();

}  // namespace lv
