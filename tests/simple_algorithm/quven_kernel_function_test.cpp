#include "simple_algorithm/quven_kernel_function.h"

#include <cmath>
#include <limits>

#include "control/quven_XML_tag.h"
#include "kernel_tools_fixture.h"

namespace {

using ::testing::HasSubstr;

class QUVENKernelFunctionTest : public KernelToolsTest {
 protected:
  using Function = QUVENOwnPtr<QUVENKernelFunction>;

  Function make(const std::string& type, QUVENKernelSettings settings = {}) {
    settings.type = type;
    return quvenMakeKernelFunction(settings, QUVEN_ENV);
  }
  double valueOf(Function& function, const std::vector<double>& a, const std::vector<double>& b,
                 std::uint64_t sampleB = 0) {
    fill(x, a);
    fill(y, b);
    return function->ComputeKernel(x, y, 0, sampleB);
  }
  /// Of a function that is made for one value; what it writes is in run.
  double valueOf(const std::string& type, const QUVENKernelSettings& settings, const std::vector<double>& a,
                 const std::vector<double>& b, std::uint64_t sampleB = 0) {
    Function function = make(type, settings);
    double value = 0;
    run = capturedRun([&] { value = valueOf(function, a, b, sampleB); });
    QUVEN_DELETE(function);
    return value;
  }
  /// Keys and values in their order.
  std::string parametersOf(const std::string& type, const QUVENKernelSettings& settings) {
    Function function = make(type, settings);
    QUVENXMLTag tag;
    function->writeParameters(tag, QUVEN_ENV);
    std::string text;
    for (const QUVENXMLTag& leaf : tag.getChildren()) text += leaf.getName() + "=" + leaf.getValue() + " ";
    tag.destroyPrimitive(QUVEN_ENV);
    QUVEN_DELETE(function);
    return text;
  }
};

constexpr const char* polyLine =
    "QUVENKernelFunctionPoly::ComputeKernel, alleged dead code reached (multi-platform adjustments)\n";

TEST_F(QUVENKernelFunctionTest, PolyIsAPowerOfTheDotProductAndSaysThatItWasReached) {
  // 2 (1 * 4 + 2 * 5 + 3 * 6) + 0.5 = 64.5
  QUVENKernelSettings settings;
  settings.multiplier = 2;
  settings.bias = 0.5;
  const std::vector<double> a{1, 2, 3};
  const std::vector<double> b{4, 5, 6};
  const double powers[] = {1, 64.5, 64.5 * 64.5, std::pow(64.5, 3)};
  for (int degree = 0; degree <= 3; ++degree) {
    settings.degree = degree;
    EXPECT_EQ(valueOf("Poly", settings, a, b), powers[degree]) << degree;
    EXPECT_EQ(run.out, polyLine) << degree;
  }
  settings.degree = -2;
  EXPECT_EQ(valueOf("Poly", settings, a, b), std::pow(64.5, -2));
}

TEST_F(QUVENKernelFunctionTest, PolyWritesItsLineWithEachCall) {
  Function function = make("Poly");
  run = capturedRun([&] {
    valueOf(function, {1}, {1});
    valueOf(function, {}, {});
  });
  EXPECT_EQ(run.out, std::string(polyLine) + polyLine);
  QUVEN_DELETE(function);
}

/// The power function and a product differ in the last bit for some numbers; here the product counts.
TEST_F(QUVENKernelFunctionTest, PolyOfDegreeTwoIsAProduct) {
  QUVENKernelSettings settings;
  settings.degree = 2;
  settings.bias = 0;
  for (double d = 0.1; d < 40; d += 0.37) EXPECT_EQ(valueOf("Poly", settings, {d}, {1}), d * d);
}

TEST_F(QUVENKernelFunctionTest, RBFFallsWithTheDistance) {
  QUVENKernelSettings settings;
  settings.gamma = 0.25;
  // (1 - 4)^2 + (2 - 6)^2 = 25
  EXPECT_EQ(valueOf("RBF", settings, {1, 2}, {4, 6}), std::exp(-6.25));
  EXPECT_EQ(valueOf("RBF", settings, {7, 8}, {7, 8}), 1);
  EXPECT_EQ(run.out, "");
}

TEST_F(QUVENKernelFunctionTest, SigmoidIsTheHyperbolicTangent) {
  QUVENKernelSettings settings;
  settings.multiplier = 0.5;
  settings.bias = -3;
  EXPECT_EQ(valueOf("Sigmoid", settings, {1, 2}, {3, 4}), std::tanh(0.5 * 11 - 3));
}

TEST_F(QUVENKernelFunctionTest, CosineIsThatOfTheAngle) {
  EXPECT_EQ(valueOf("Cosine", {}, {3, 0}, {4, 4}), 12 / std::sqrt(32.0 * 9.0));
  EXPECT_EQ(valueOf("Cosine", {}, {1, 2}, {-2, 1}), 0);
  EXPECT_EQ(valueOf("Cosine", {}, {0, 0}, {4, 4}), 0);  // a zero vector: the dot product
  EXPECT_EQ(valueOf("Cosine", {}, {4, 4}, {0, 0}), 0);
  EXPECT_TRUE(std::isnan(valueOf("Cosine", {}, {std::nan("")}, {1})));
}

TEST_F(QUVENKernelFunctionTest, PrecomputedIsAnElementOfX) {
  const std::vector<double> values{0.5, -2, 7};
  EXPECT_EQ(valueOf("Precomputed", {}, values, {}, 1), 0.5);
  EXPECT_EQ(valueOf("Precomputed", {}, values, {}, 3), 7);
  EXPECT_EQ(valueOf("Precomputed", {}, values, {}, 0), 0);
  EXPECT_EQ(valueOf("Precomputed", {}, values, {}, 4), 0);
  EXPECT_EQ(valueOf("Precomputed", {}, values, {}, ~std::uint64_t{0}), 0);
}

TEST_F(QUVENKernelFunctionTest, InformationIsThatOfTwoSequences) {
  QUVENKernelSettings settings;
  settings.numberOfBins = 10;
  // Equal sequences of two values: one bit. Independent ones: nothing.
  EXPECT_EQ(valueOf("Information", settings, {1, 2, 1, 2}, {5, 6, 5, 6}), 1);
  EXPECT_EQ(valueOf("Information", settings, {1, 1, 2, 2}, {5, 6, 5, 6}), 0);
  // 1.9 is 1, and -0.5 is 0 as 0.5 is.
  EXPECT_EQ(valueOf("Information", settings, {1.9, 2, 1, 2.1}, {-0.5, 6, 0.5, 6}), 1);
  // Of x: 3/4 and 1/4; of y: 1/2 each; pairs (1,1) 1/2, (1,2) 1/4, (2,2) 1/4.
  EXPECT_DOUBLE_EQ(valueOf("Information", settings, {1, 1, 1, 2}, {1, 1, 2, 2}),
                   (0.5 * std::log(0.5 / (0.75 * 0.5)) + 0.25 * std::log(0.25 / (0.75 * 0.5)) +
                    0.25 * std::log(0.25 / (0.25 * 0.5))) /
                       std::log(2.0));
  EXPECT_EQ(valueOf("Information", settings, {}, {}), 0);
}

TEST_F(QUVENKernelFunctionTest, InformationTellsPairsByOneNumber) {
  // With one bin (0,1) and (1,0) are both 1: one pair of probability 1, of which the first sighting is (0,1).
  QUVENKernelSettings settings;
  settings.numberOfBins = 1;
  EXPECT_EQ(valueOf("Information", settings, {0, 1}, {1, 0}), std::log(1 / 0.25) / std::log(2.0));
  settings.numberOfBins = 2;
  EXPECT_EQ(valueOf("Information", settings, {0, 1}, {1, 0}), 1);
}

/// Numbers far below all integers were 0 once, and so were told apart from the lowest one.
TEST_F(QUVENKernelFunctionTest, InformationHoldsNumbersBeyondTheIntegersAtTheirEnds) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  QUVENKernelSettings settings;
  settings.numberOfBins = 10;
  EXPECT_EQ(valueOf("Information", settings, {-infinity, -1e300, 1e300, infinity}, {1, 1, 2, 2}), 1);
  EXPECT_EQ(valueOf("Information", settings, {-1e300, -1e300, 0, std::nan("")}, {1, 1, 2, 2}), 1);
  EXPECT_EQ(valueOf("Information", settings, {-2147483648.0, 2147483647.0}, {-2147483649.0, 2147483648.0}), 1);
}

TEST_F(QUVENKernelFunctionTest, EachKindWritesItsParametersInTheirOrder) {
  QUVENKernelSettings settings;
  settings.degree = 3;
  settings.bias = 0.5;
  settings.multiplier = 2.5;
  settings.gamma = 0.25;
  settings.isIndicesData = 1;
  settings.emptyMarker = -1;
  settings.normalizingFactor = 1000;
  settings.numberOfBins = 12;
  EXPECT_EQ(parametersOf("Poly", settings), "KernelType=Poly Deg=3 Bias=0.5 Mul=2.5 ");
  EXPECT_EQ(parametersOf("RBF", settings), "KernelType=RBF Gamma=0.25 ");
  EXPECT_EQ(parametersOf("Sigmoid", settings), "KernelType=Sigmoid Bias=0.5 Mul=2.5 ");
  EXPECT_EQ(parametersOf("Cosine", settings), "KernelType=Cosine ");
  EXPECT_EQ(parametersOf("Precomputed", settings), "KernelType=Precomputed ");
  EXPECT_EQ(parametersOf("Friends", settings),
            "KernelType=Friends IsIndicesData=1 EmptyMarker=-1 NormalizingFactor=1000 ");
  EXPECT_EQ(parametersOf("Information", settings), "KernelType=Information NumberOfBins=12 ");
}

TEST_F(QUVENKernelFunctionTest, MembersTravelInTheirOrder) {
  QUVENKernelSettings settings;
  settings.multiplier = 2;
  settings.degree = 3;
  settings.bias = 4;
  settings.gamma = 5;
  settings.emptyMarker = 6;
  settings.normalizingFactor = 7;
  settings.numberOfBins = 8;
  const auto stream = [&](const std::string& type) {
    Function function = make(type, settings);
    const std::string text = textOf(*function);
    const std::string image = imageOf(*function);
    Function copy(QUVEN_ENV);
    readInto(copy, image);
    EXPECT_EQ(imageOf(*copy), image);
    EXPECT_TRUE(copy->getTypeName() == function->getTypeName());
    QUVEN_DELETE(copy);
    QUVEN_DELETE(function);
    return text;
  };
  const auto text = [](const std::string& type, const std::string& members) {
    return "QUVENKernelFunction" + type + " {\n  ivDummy = 0\n" + members + "}";
  };
  EXPECT_EQ(stream("Poly"), text("Poly", "  ivMul = 2\n  ivDeg = 3\n  ivBias = 4\n"));
  EXPECT_EQ(stream("RBF"), text("RBF", "  ivGamma = 5\n"));
  EXPECT_EQ(stream("Sigmoid"), text("Sigmoid", "  ivMul = 2\n  ivBias = 4\n"));
  EXPECT_EQ(stream("Cosine"), text("Cosine", ""));
  EXPECT_EQ(stream("Precomputed"), text("Precomputed", ""));
  EXPECT_EQ(stream("Friends"),
            text("Friends", "  ivIsIndicesData = 1\n  ivNormalizingFactor = 7\n  ivEmptyMarker = 6\n"));
  EXPECT_EQ(stream("Information"), text("Information", "  ivNumberOfBins = 8\n"));
}

TEST_F(QUVENKernelFunctionTest, OnlyFriendsLooksForCandidates) {
  QUVENXaRay<std::uint64_t> samples;
  QUVENXaRay<std::int32_t> result;
  fill(samples, std::vector<std::uint64_t>{1, 2, 3});
  fill(x, {1, 2, 3});
  for (const char* type : {"Poly", "RBF", "Sigmoid", "Cosine", "Precomputed", "Information"}) {
    Function function = make(type);
    function->setSampleIndex(samples, QUVEN_ENV);
    EXPECT_NE(function->getCandidates(result, x, QUVEN_ENV), 2) << type;
    EXPECT_TRUE(result.isEmpty()) << type;
    QUVEN_DELETE(function);
  }
  QUVEN_DELETE(samples);
}

TEST_F(QUVENKernelFunctionTest, AnyOtherNameIsAnInternalError) {
  for (const char* type : {"", "friends", "Friends ", "Linear"}) {
    run = capturedRun([&] {
      Function function = make(type);
      QUVEN_DELETE(function);
    });
    EXPECT_TRUE(run.threwLibraryException) << type;
    EXPECT_THAT(run.out, HasSubstr("Program control should never reach this point")) << type;
  }
}

}  // namespace
