// SPDX-License-Identifier: Apache-2.0
// A clang-tidy module that limits the checks to declarations outside of system headers.
//
// By default the checks visit every node of a translation unit. Nine of ten nodes come from the
// headers of Boost, GoogleTest and the standard library, for which clang-tidy suppresses the
// warnings afterwards. Most of its time is spent there. All other code is checked as without this
// module.
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

    /// The translation unit is visited first. Only the declarations in the scope set here are
    /// visited after it.
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
    "zephran", "Limits the checks to code outside of system headers."};

}  // namespace
