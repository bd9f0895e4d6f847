// A module for clang-tidy that confines the checks to declarations outside of the system's headers.
//
// The checks look at every node of a translation unit, and nine of ten nodes come from the headers
// of Boost, GoogleTest and the standard library, about which clang-tidy then keeps silent. Most of
// its time goes there. Code outside of those headers is looked at exactly as it is without this.
#include <vector>

#include <clang-tidy/ClangTidyCheck.h>
#include <clang-tidy/ClangTidyModule.h>
#include <clang-tidy/ClangTidyModuleRegistry.h>

namespace {

class OwnCodeCheck : public clang::tidy::ClangTidyCheck {
public:
    using ClangTidyCheck::ClangTidyCheck;

    void registerMatchers(clang::ast_matchers::MatchFinder* finder) override {
        finder->addMatcher(clang::ast_matchers::translationUnitDecl(), this);
    }

    /// The unit itself is visited first, and only what the scope has by then is visited after it.
    void check(const clang::ast_matchers::MatchFinder::MatchResult& result) override {
        std::vector<clang::Decl*> own;
        for (clang::Decl* declaration : result.Context->getTranslationUnitDecl()->decls()) {
            const auto& files = *result.SourceManager;
            if (!files.isInSystemHeader(files.getExpansionLoc(declaration->getLocation()))) {
                own.push_back(declaration);
            }
        }
        result.Context->setTraversalScope(own);
    }
};

class OwnCodeModule : public clang::tidy::ClangTidyModule {
public:
    void addCheckFactories(clang::tidy::ClangTidyCheckFactories& factories) override {
        factories.registerCheck<OwnCodeCheck>("zephran-own-code");
    }
};

const clang::tidy::ClangTidyModuleRegistry::Add<OwnCodeModule> registration{
    "zephran", "Confines the checks to code outside of the system's headers."};

}  // namespace
