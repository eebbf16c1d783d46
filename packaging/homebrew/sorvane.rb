class Sorvane < Formula
  desc "Tells coding agents where the images in their prompts are"
  homepage "https://sorvane.invalid/"
  url "https://sorvane.invalid/archive/v1.0.0.tar.gz"
  sha256 "0000000000000000000000000000000000000000000000000000000000000000"

  depends_on "cli11" => :build
  depends_on "cmake" => :build
  depends_on "nlohmann-json" => :build
  depends_on "tomlplusplus" => :build
  depends_on :macos

  def install
    system "cmake", "-S", ".", "-B", "build", "-DBUILD_TESTING=OFF", *std_cmake_args
    system "cmake", "--build", "build"
    system "cmake", "--install", "build", "--component", "programs"
  end

  test do
    assert_equal "Sorvane: Invalid arguments: Agent identity is required.\n",
                 shell_output("#{bin}/sorvane-hook 2>&1 </dev/null")
    assert_match version.to_s, shell_output("#{bin}/sorvane-doctor --version")

    assert_match(/\A\h{64} \d+ \d+\n\z/,
                 shell_output("#{libexec}/sorvane/sorvane-pixels 10 <#{test_fixtures("test.png")}"))
  end
end
