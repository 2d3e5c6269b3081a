SwaggerUIBundle({
    url: 'openapi.json',
    dom_id: '#reference',
    deepLinking: true,
    docExpansion: 'none',
    defaultModelsExpandDepth: 0,
    validatorUrl: null,
    /* The device takes the names of a form's parameters as they stand. */
    requestInterceptor(request) {
        if (typeof request.body === 'string') {
            request.body = request.body.replace(/%5B/gi, '[').replace(/%5D/gi, ']')
                .replaceAll('+', '%20');
        }
        return request;
    },
});
