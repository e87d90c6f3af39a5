#include "Storage/SecretServiceBackend_linux.h"

#include "Runtime/AppIdentity.h"
#include "Runtime/GLibResources_linux.h"
#include "Runtime/Logger.h"

#include <libsecret/secret.h>

namespace kestrelle {

namespace {

const Logger logger{"SecretService"};

using SecretErrorCode = KeychainStatus::SecretErrorCode;
static_assert(SecretErrorCode::isLocked == SECRET_ERROR_IS_LOCKED);
static_assert(SecretErrorCode::noSuchObject == SECRET_ERROR_NO_SUCH_OBJECT);
static_assert(SecretErrorCode::alreadyExists == SECRET_ERROR_ALREADY_EXISTS);

struct ItemListFree {
    void operator()(GList* items) const { g_list_free_full(items, g_object_unref); }
};
using ItemList = std::unique_ptr<GList, ItemListFree>;

struct HashTableUnref {
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
using HashTable = std::unique_ptr<GHashTable, HashTableUnref>;

struct ValueUnref {
    void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using Value = std::unique_ptr<SecretValue, ValueUnref>;

struct MainContextUnref {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
};

KeychainReply replyWith(KeychainStatus status) {
    KeychainReply reply;
    reply.status = status;
    return reply;
}

// What a search found, told with libsecret's own codes.
KeychainReply searchOutcome(std::int32_t secretErrorCode) {
    return replyWith(KeychainStatus::fromSecretService(
        KeychainStatus::SecretServiceDomain::secretError, secretErrorCode));
}

// Logs the failure of `call` and answers with its status. The Secret Service's messages name
// objects and D-Bus errors, never a secret.
KeychainReply failureReply(const GErrorSlot& failure, const char* call) {
    const GError* error = failure.get();
    const auto domain = error ? g_quark_to_string(error->domain) : "none";
    const auto code = error ? error->code : 0;
    logger.error("Secret Service {} failed: {} {}, {}", PublicText(call), PublicText(domain), code,
                 PublicText(error ? error->message : "no error given"));
    return replyWith(KeychainStatus::fromSecretService(
        error && error->domain == SECRET_ERROR ? KeychainStatus::SecretServiceDomain::secretError
                                               : KeychainStatus::SecretServiceDomain::other,
        code));
}

const SecretSchema& passwordSchema() {
    static const std::string name = std::string(fixedBundleIdentifier) + ".Password";
    static const SecretSchema schema = [] {
        SecretSchema made{};
        made.name = name.c_str();
        made.flags = SECRET_SCHEMA_NONE;
        made.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
        made.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    return schema;
}

// The table points into `query`, which outlives it.
HashTable attributesOf(const KeychainQuery& query) {
    HashTable table(g_hash_table_new(g_str_hash, g_str_equal));
    g_hash_table_insert(table.get(), const_cast<char*>("service"),
                        const_cast<char*>(query.service.c_str()));
    g_hash_table_insert(table.get(), const_cast<char*>("account"),
                        const_cast<char*>(query.account.c_str()));
    return table;
}

// libsecret copies the bytes into its own memory, which it wipes when the value is freed.
Value valueOf(const SecretBytes& bytes) {
    return Value(secret_value_new(reinterpret_cast<const gchar*>(bytes.data()),
                                  static_cast<gssize>(bytes.size()), "text/plain"));
}

// The entry's item, searched for without unlocking anything: a locked item comes back locked,
// without its secret, instead of prompting.
struct Search {
    ItemList items;
    // What ends a call that needs the unlocked item: a failed search, no item, a locked item.
    std::optional<KeychainReply> failure;

    SecretItem* item() const { return items ? static_cast<SecretItem*>(items->data) : nullptr; }
};

Search search(SecretService* service, GHashTable* attributes) {
    GErrorSlot error;
    Search found{ItemList(secret_service_search_sync(service, &passwordSchema(), attributes,
                                                     SECRET_SEARCH_NONE, nullptr, error.out())),
                 std::nullopt};
    if (error) {
        found.failure = failureReply(error, "search");
    } else if (!found.item()) {
        found.failure = searchOutcome(SECRET_ERROR_NO_SUCH_OBJECT);
    } else if (secret_item_get_locked(found.item())) {
        found.failure = searchOutcome(SECRET_ERROR_IS_LOCKED);
    }
    return found;
}

// Makes `context` the thread's default for one call, after dispatching what is pending there.
class ThreadDefaultContext {
public:
    explicit ThreadDefaultContext(GMainContext* context) : context_(context) {
        g_main_context_push_thread_default(context_);
        while (g_main_context_iteration(context_, FALSE)) {
        }
    }
    ThreadDefaultContext(const ThreadDefaultContext&) = delete;
    ThreadDefaultContext& operator=(const ThreadDefaultContext&) = delete;
    ~ThreadDefaultContext() { g_main_context_pop_thread_default(context_); }

private:
    GMainContext* context_;
};

} // namespace

struct SecretServiceBackend::Connection {
    std::unique_ptr<GMainContext, MainContextUnref> context{g_main_context_new()};
    GObjectPtr<SecretService> service;
};

SecretServiceBackend::SecretServiceBackend() : connection_(std::make_unique<Connection>()) {}

SecretServiceBackend::~SecretServiceBackend() = default;

template <class Call>
KeychainReply SecretServiceBackend::withService(const KeychainQuery& query, Call call) {
    if (query.authenticationContext) {
        KeychainReply refusal;
        refusal.foreignAuthenticationContext = true;
        return refusal;
    }
    const ThreadDefaultContext scope(connection_->context.get());
    if (!connection_->service) {
        GErrorSlot error;
        connection_->service.reset(
            secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, error.out()));
        if (!connection_->service) {
            return failureReply(error, "connect");
        }
    }
    const auto attributes = attributesOf(query);
    auto reply = call(connection_->service.get(), attributes.get());
    if (reply.status.kind == KeychainStatus::Kind::other) {
        // The service may have gone or restarted (a new daemon knows nothing of the session):
        // the next call connects afresh.
        connection_->service.reset();
        secret_service_disconnect();
    }
    return reply;
}

KeychainReply SecretServiceBackend::addItem(const KeychainQuery& query) {
    return withService(query, [&](SecretService* service, GHashTable* attributes) {
        const auto existing = search(service, attributes);
        if (existing.item()) {
            return searchOutcome(SECRET_ERROR_ALREADY_EXISTS);
        }
        if (existing.failure->status.kind != KeychainStatus::Kind::itemNotFound) {
            return *existing.failure; // the search failed
        }
        GErrorSlot error;
        const GObjectPtr<SecretCollection> collection(secret_collection_for_alias_sync(
            service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, error.out()));
        if (!collection) {
            return failureReply(error, "default collection");
        }
        // Creating in a locked collection would ask to unlock it.
        if (secret_collection_get_locked(collection.get())) {
            return searchOutcome(SECRET_ERROR_IS_LOCKED);
        }
        const SecretBytes none;
        const auto value = valueOf(query.value ? *query.value : none);
        const auto label = "Kestrelle password for entry " + query.account;
        const GObjectPtr<SecretItem> item(
            secret_item_create_sync(collection.get(), &passwordSchema(), attributes, label.c_str(),
                                    value.get(), SECRET_ITEM_CREATE_NONE, nullptr, error.out()));
        return item ? KeychainReply{} : failureReply(error, "create");
    });
}

KeychainReply SecretServiceBackend::updateItem(const KeychainQuery& query,
                                               const SecretBytes& newValue) {
    return withService(query, [&](SecretService* service, GHashTable* attributes) {
        const auto found = search(service, attributes);
        if (found.failure) {
            return *found.failure;
        }
        GErrorSlot error;
        const auto value = valueOf(newValue);
        return secret_item_set_secret_sync(found.item(), value.get(), nullptr, error.out())
                   ? KeychainReply{}
                   : failureReply(error, "update");
    });
}

KeychainReply SecretServiceBackend::copyMatching(const KeychainQuery& query) {
    return withService(query, [&](SecretService* service, GHashTable* attributes) {
        const auto found = search(service, attributes);
        if (found.failure) {
            return *found.failure;
        }
        KeychainReply reply;
        if (query.returnKind != KeychainReturnKind::data) {
            return reply;
        }
        GErrorSlot error;
        if (!secret_item_load_secret_sync(found.item(), nullptr, error.out())) {
            return failureReply(error, "load");
        }
        const Value value(secret_item_get_secret(found.item()));
        if (value) {
            gsize length = 0;
            const auto* bytes =
                reinterpret_cast<const std::uint8_t*>(secret_value_get(value.get(), &length));
            reply.data = SecretBytes(bytes, bytes + length);
        }
        return reply;
    });
}

KeychainReply SecretServiceBackend::deleteItem(const KeychainQuery& query) {
    return withService(query, [&](SecretService* service, GHashTable* attributes) {
        const auto found = search(service, attributes);
        if (found.failure) {
            return *found.failure;
        }
        GErrorSlot error;
        return secret_item_delete_sync(found.item(), nullptr, error.out())
                   ? KeychainReply{}
                   : failureReply(error, "delete");
    });
}

std::optional<std::string> SecretServiceBackend::statusMessage(KeychainStatus status) {
    return KeychainStatus::secretServiceMessage(status);
}

std::shared_ptr<AuthenticationContext> SecretServiceBackend::makeAuthenticationContext() {
    return nullptr;
}

} // namespace kestrelle
