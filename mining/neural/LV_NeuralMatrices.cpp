#include "mining/neural/LV_NeuralMatrices.h"

#include <Eigen/Dense>
#include <cmath>

#include "core/text/LV_Errors.h"

namespace lv {

namespace {

using TMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor>;
using TMap = Eigen::Map<TMatrix>;
using TConstMap = Eigen::Map<const TMatrix>;
using TStrided = Eigen::Map<const TMatrix, 0, Eigen::OuterStride<>>;

// The layer's function applied (or derived) column by column, or all at once when the
// layer has one function: the buffer is neurons x rows contiguous either way.
template <class F>
void PerNeuron(const TLVNeuralMatrices::TLayer& layer, ptrdiff_t rows, F&& f) {
  if (layer.functions.size() == 1) {
    f(layer.functions.front(), 0, rows * layer.size);
    return;
  }
  for (int32_t j = 0; j < layer.size; ++j) {
    f(layer.functions[static_cast<size_t>(j)], static_cast<ptrdiff_t>(j) * rows, rows);
  }
}

}  // namespace

size_t TLVNeuralMatrices::AddSource(int32_t layer, int32_t source) {
  TLayer& target = layers[static_cast<size_t>(layer)];
  const size_t offset = params.size();
  const size_t count = static_cast<size_t>(target.size) *
                       static_cast<size_t>(layers[static_cast<size_t>(source)].size);
  target.sources.push_back({source, offset});
  params.resize(offset + count, 0.0);
  mask.resize(offset + count, 0.0);
  weightMask.resize(offset + count, 1.0);
  return offset;
}

void TLVNeuralMatrices::AddShifts(int32_t layer) {
  TLayer& target = layers[static_cast<size_t>(layer)];
  target.shiftOffset = params.size();
  const size_t end = params.size() + static_cast<size_t>(target.size);
  params.resize(end, 0.0);
  mask.resize(end, 1.0);
  weightMask.resize(end, 0.0);
}

void TLVNeuralMatrices::Forward(const double* in, ptrdiff_t ldIn, ptrdiff_t rows, TWork& work,
                                bool check) const {
  const size_t count = layers.size();
  work.rows = rows;
  work.outputs.resize(count);
  // The input layer's outputs are the inputs, copied so that every layer reads alike.
  const TStrided input(in, rows, InputCount(), Eigen::OuterStride<>(ldIn));
  work.outputs[0].resize(static_cast<size_t>(rows * InputCount()));
  TMap(work.outputs[0].data(), rows, InputCount()) = input;
  if (check) {
    work.incomplete.assign(static_cast<size_t>(rows), 0);
    for (int32_t j = 0; j < InputCount(); ++j) {
      for (ptrdiff_t i = 0; i < rows; ++i) {
        if (!std::isfinite(input(i, j))) work.incomplete[static_cast<size_t>(i)] = 1;
      }
    }
  }
  for (size_t l = 1; l < count; ++l) {
    const TLayer& layer = layers[l];
    std::vector<double>& buffer = work.outputs[l];
    buffer.resize(static_cast<size_t>(rows * layer.size));
    TMap z(buffer.data(), rows, layer.size);
    const Eigen::Map<const Eigen::RowVectorXd> shift(params.data() + layer.shiftOffset, layer.size);
    z.rowwise() = shift;
    for (const TSource& source : layer.sources) {
      const int32_t n = layers[static_cast<size_t>(source.layer)].size;
      const TConstMap a(work.outputs[static_cast<size_t>(source.layer)].data(), rows, n);
      const TConstMap w(params.data() + source.offset, layer.size, n);
      z.noalias() += a * w.transpose();
    }
    PerNeuron(layer, rows, [&](const TLVActivationFunction& f, ptrdiff_t at, ptrdiff_t n) {
      f.ComputeBlock(buffer.data() + at, buffer.data() + at, n);
    });
    if (!check) continue;
    for (int32_t j = 0; j < layer.size; ++j) {
      for (ptrdiff_t i = 0; i < rows; ++i) {
        if (std::isnan(z(i, j)) && !work.incomplete[static_cast<size_t>(i)]) {
          throw ELVError("ErrNeuralNeuronCompute", {static_cast<int32_t>(l), j});
        }
      }
    }
  }
}

double TLVNeuralMatrices::ErrorOf(const double* target, ptrdiff_t ldTarget,
                                  const TWork& work) const {
  const TConstMap y(Outputs(work), work.rows, OutputCount());
  const TStrided t(target, work.rows, OutputCount(), Eigen::OuterStride<>(ldTarget));
  return 0.5 * (y - t).squaredNorm();
}

double TLVNeuralMatrices::Backward(const double* target, ptrdiff_t ldTarget, TWork& work,
                                   double* gradient) const {
  const ptrdiff_t rows = work.rows;
  const size_t count = layers.size();
  work.deltas.resize(count);
  for (size_t l = 1; l < count; ++l) {
    work.deltas[l].assign(static_cast<size_t>(rows * layers[l].size), 0.0);
  }
  // The last layer's error term starts as y - t; every layer's is then multiplied by
  // f'(y) once all the layers it feeds have added theirs.
  const TStrided t(target, rows, OutputCount(), Eigen::OuterStride<>(ldTarget));
  TMap last(work.deltas.back().data(), rows, OutputCount());
  last = TConstMap(Outputs(work), rows, OutputCount()) - t;
  const double error = 0.5 * last.squaredNorm();
  for (size_t l = count - 1; l >= 1; --l) {
    const TLayer& layer = layers[l];
    std::vector<double>& delta = work.deltas[l];
    work.derivative.resize(delta.size());
    PerNeuron(layer, rows, [&](const TLVActivationFunction& f, ptrdiff_t at, ptrdiff_t n) {
      f.DerivativeBlock(work.outputs[l].data() + at, work.derivative.data() + at, n);
    });
    TMap d(delta.data(), rows, layer.size);
    d.array() *= TConstMap(work.derivative.data(), rows, layer.size).array();
    Eigen::Map<Eigen::RowVectorXd> shift(gradient + layer.shiftOffset, layer.size);
    shift += d.colwise().sum();
    for (const TSource& source : layer.sources) {
      const auto s = static_cast<size_t>(source.layer);
      const int32_t n = layers[s].size;
      const TConstMap a(work.outputs[s].data(), rows, n);
      TMap g(gradient + source.offset, layer.size, n);
      g.noalias() += d.transpose() * a;
      if (s == 0) continue;
      const TConstMap w(params.data() + source.offset, layer.size, n);
      TMap(work.deltas[s].data(), rows, n).noalias() += d * w;
    }
  }
  // Links that do not exist take no part.
  for (size_t l = 1; l < count; ++l) {
    for (const TSource& source : layers[l].sources) {
      if (source.full) continue;
      const size_t n = static_cast<size_t>(layers[l].size) *
                       static_cast<size_t>(layers[static_cast<size_t>(source.layer)].size);
      for (size_t k = source.offset; k < source.offset + n; ++k) gradient[k] *= mask[k];
    }
  }
  return error;
}

}  // namespace lv
